#pragma once

#include "Tools/TreeMount/MountedFiles.h"
#include "Tools/TreeMount/MountedTree.h"
#include "Tools/TreeMount/NodeStatus.h"

#include <utility>

namespace Keld::TreeMount
{
/// A view as a file system, whoever asks it: names, files and what is told about them. Any thread may ask. The view
/// must outlive it.
class MountedFileSystem
{
public:
    MountedFileSystem(MountedTree tree, const Ownership &ownership, const ReadingRules &rules,
                      MountedFiles::Report report)
        : mTree(std::move(tree)), mStatus(mTree, ownership), mFiles(mTree, rules, std::move(report))
    {
    }

    MountedFileSystem(const MountedFileSystem &) = delete;
    MountedFileSystem &operator=(const MountedFileSystem &) = delete;

    const MountedTree &GetTree() const { return mTree; }
    const NodeStatus &GetStatus() const { return mStatus; }
    MountedFiles &GetFiles() { return mFiles; }

private:
    const MountedTree mTree;
    const NodeStatus mStatus;
    MountedFiles mFiles;
};
} // namespace Keld::TreeMount
