#pragma once

#include "Tools/TreeMount/MountedTree.h"

#include <mutex>
#include <vector>

#include <sys/stat.h>
#include <sys/statvfs.h>

namespace Keld::TreeMount
{
/// Who owns what a mount shows, and who may do what.
struct Ownership
{
    uid_t user = 0;
    gid_t group = 0;
    mode_t umask = 0; ///< bits that nobody gets
};

/// What programs are told about the files and directories of a mounted tree, and about all of it. Manifests tell no
/// times, so everything has that of its release's manifest. Any thread may ask.
class NodeStatus
{
public:
    NodeStatus(const MountedTree &tree, const Ownership &ownership);

    struct stat Get(const TreeReader::Hit &node) const;

    /// Sizes and counts of what is shown. Walks the whole tree when it is first asked for.
    struct statvfs GetTotals() const;

private:
    void CountTotals() const;

    const MountedTree &mTree;
    const Ownership mOwnership;
    std::vector<struct timespec> mTimes; ///< by layer
    mutable std::once_flag mTotalsCounted;
    mutable uint64 mFileBytes = 0;
    mutable uint64 mNodeCount = 0;
};
} // namespace Keld::TreeMount
