#pragma once

#include "Tools/TreeMount/LayerNames.h"
#include "Tools/TreeReader/View.h"

#include <string>
#include <vector>

namespace Keld::TreeMount
{
/// What the kernel calls a file or directory. The root has the kernel's own number for a root; the others are computed
/// from layer and entry, so that no table of them is kept, and the same file has the same number in every mount.
using NodeNumber = uint64;

inline constexpr NodeNumber RootNode = 1;

/// The directories and files of a view as a file system shows them: one tree, in which a name stands for the entry that
/// the library finds under its path, and no other. A file that shares its path with a directory of a later layer hides
/// what is in that. Does not change; any thread may ask. The view must outlive it.
class MountedTree
{
public:
    /// \param subdirectory that becomes the root: a canonical path, or nothing for all.
    static TreeReader::Result<MountedTree> Make(const TreeReader::View &view, const std::string &subdirectory);

    const TreeReader::View &GetView() const { return *mView; }
    const TreeReader::Release &GetRelease(const TreeReader::Hit &node) const { return mView->GetRelease(node.layer); }
    const TreeReader::ManifestTree &GetManifest(const TreeReader::Hit &node) const
    {
        return GetRelease(node).GetTree();
    }
    const LayerNames &GetNames(uint32 layer) const { return mLayers[layer].names; }

    TreeReader::Hit GetRoot() const { return mRoot; }
    NodeNumber GetNumber(const TreeReader::Hit &node) const;

    /// Nothing for a number that no node has.
    TreeReader::Hit GetNode(NodeNumber number) const;

    /// What a directory shows under a name, in any case; nothing when it shows no such name.
    TreeReader::Hit FindChild(const TreeReader::Hit &directory, const char *name) const;

    bool IsDirectory(const TreeReader::Hit &node) const { return GetManifest(node).IsDirectory(node.entry); }
    const char *GetName(const TreeReader::Hit &node) const { return GetManifest(node).GetName(node.entry); }

    /// The next layer's directory that is merged with this one; nothing behind the last.
    TreeReader::Hit GetNextPart(const TreeReader::Hit &directory) const;

    /// Entries that are there and that a file system cannot show: by their names, or for others of the same path.
    uint64 CountUnshown() const;

private:
    struct MountedLayer
    {
        LayerNames names;
        NodeNumber firstNumber;                 ///< of its entry 0
        std::vector<TreeReader::Hit> nextParts; ///< by directory; empty for the last layer
    };

    MountedTree(const TreeReader::View &view, const TreeReader::Hit &root);

    std::vector<TreeReader::Hit> FindNextParts(uint32 layer) const;

    const TreeReader::View *mView;
    std::vector<MountedLayer> mLayers;
    TreeReader::Hit mRoot;
};

/// Whether both are one entry.
inline bool IsSameNode(const TreeReader::Hit &left, const TreeReader::Hit &right)
{
    return left.layer == right.layer && left.entry == right.entry;
}
} // namespace Keld::TreeMount
