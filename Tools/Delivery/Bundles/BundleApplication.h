#pragma once

#include "Tools/Delivery/Bundles/BundleHead.h"
#include "Tools/Delivery/Keys/PublicKey.h"
#include "Tools/Delivery/Sums/WorkCalls.h"

#include <functional>
#include <optional>
#include <string>

namespace Keld::Delivery
{
struct ApplyRequest
{
    std::string root;               ///< the directory named "MORV"; made where it is missing
    int bundle = -1;                ///< open for reading; borrowed
    std::string bundleName;         ///< for messages
    const PublicKey *key = nullptr; ///< with one, the bundle must be signed
    bool protect = false;           ///< let nobody write the directories of archives that came
    bool sync = true;               ///< bring to disk what a loss of power could otherwise turn round
    unsigned threadCount = 1;
    std::function<void()> step = [] {}; ///< called before each step that changes the tree; for tests
    WorkCalls calls = {};
};

struct ApplyReport
{
    BundleHead head;
    uint64 files = 0;                         ///< that came to the tree
    uint64 bytes = 0;                         ///< of them
    std::optional<std::string> signedComment; ///< nothing where nobody asked for a signature
};

/// Brings what a bundle carries into a tree, holding the locks of all projects and solutions concerned. Everything is
/// checked before anything of it can be seen: that the base is there with the bytes that the target needs of it, that
/// all files are carried, and their sums. What is in its place already stays; a file there with other bytes is never
/// replaced. Throws TreeError for what is refused; the tree is as it was then.
ApplyReport ApplyBundle(const ApplyRequest &request);
} // namespace Keld::Delivery
