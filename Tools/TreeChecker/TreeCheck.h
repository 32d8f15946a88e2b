#pragma once

#include "Tools/TreeChecker/CheckReport.h"

#include "Tools/TreeReader/Tree.h"

#include <functional>
#include <vector>

namespace Keld::TreeChecker
{
struct CheckOptions
{
    bool decode = true;       ///< read all that is stored and hold it against its digests
    unsigned threadCount = 1; ///< what is found does not depend on it

    /// Called once, with the bytes of content that will be read, before the reading begins.
    std::function<void(uint64)> begin = [](uint64) {};

    /// Called with the bytes that were read since the last call. By any thread.
    std::function<void(uint64)> advance = [](uint64) {};

    /// Called again and again, by any thread. What it throws ends the check.
    std::function<void()> checkpoint = [] {};
};

/// Proves releases and solutions of one tree: that each byte that a reader of them uses is the one that was written, as
/// far as the tree itself can tell. Goes on after each fault, and never changes anything. Several releases share what
/// they have in common: each stored range is read once.
CheckReport CheckTree(TreeReader::Tree &tree, const std::vector<TreeReader::ReleaseName> &names,
                      const CheckOptions &options);

/// The same for every release and solution of the tree. Tells besides what nothing refers to.
CheckReport CheckWholeTree(TreeReader::Tree &tree, const CheckOptions &options);
} // namespace Keld::TreeChecker
