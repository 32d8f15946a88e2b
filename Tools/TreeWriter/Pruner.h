#pragma once

#include "Tools/TreeWriter/PrunePlan.h"

#include <functional>

namespace Keld::TreeWriter
{
struct PruneOptions
{
    bool sync = true;                         ///< bring to disk what a loss of power could otherwise turn round
    std::function<void()> step = [] {};       ///< called before each step that changes the tree; for tests
    std::function<void()> checkpoint = [] {}; ///< called while it waits for a lock and between files; may throw
};

/// Plans once more, holding the locks of all projects and solutions concerned, and removes what the plan says.
///
/// The manifests go first and are gone from the disk before any data goes, so that whoever looks sees a release whole
/// or not at all, at every moment. When it ends early, what is left is what nobody needs, and the next run removes it.
/// \returns what was removed
PrunePlan Prune(const PruneRequest &request, const PruneOptions &options);
} // namespace Keld::TreeWriter
