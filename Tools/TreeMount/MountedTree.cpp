#include "Tools/TreeMount/MountedTree.h"

#include <algorithm>

namespace Keld::TreeMount
{
using TreeReader::EntryIndex;
using TreeReader::Fault;
using TreeReader::FaultKind;
using TreeReader::Hit;
using TreeReader::NoEntry;
using TreeReader::View;

TreeReader::Result<MountedTree> MountedTree::Make(const View &view, const std::string &subdirectory)
{
    const Hit root = view.Find(subdirectory);
    if (!root)
    {
        return Fault{FaultKind::NotThere, subdirectory, "is not there; \"morv tree\" shows all there is"};
    }
    if (!view.IsDirectory(root))
    {
        return Fault{FaultKind::WrongKind, subdirectory, "is a file, and only a directory can be mounted"};
    }
    return MountedTree(view, root);
}

MountedTree::MountedTree(const View &view, const Hit &root) : mView(&view), mRoot(root)
{
    const auto layerCount = static_cast<uint32>(view.GetLayers().size());
    NodeNumber firstNumber = RootNode;
    for (uint32 layer = 0; layer < layerCount; ++layer)
    {
        const TreeReader::Release &release = view.GetRelease(layer);
        mLayers.push_back({LayerNames(release), firstNumber, FindNextParts(layer)});
        firstNumber += release.GetTree().GetEntryCount();
    }
}

/// Layers hold the same directory when they have it under the same path.
std::vector<Hit> MountedTree::FindNextParts(uint32 layer) const
{
    const auto layerCount = static_cast<uint32>(mView->GetLayers().size());
    const TreeReader::ManifestTree &tree = mView->GetRelease(layer).GetTree();
    std::vector<Hit> parts(layer + 1 < layerCount ? tree.GetDirectoryCount() : 0);
    for (EntryIndex directory = 0; directory < parts.size(); ++directory)
    {
        const std::string path = tree.GetPath(directory);
        for (uint32 next = layer + 1; next < layerCount && !parts[directory]; ++next)
        {
            const EntryIndex entry = mView->GetRelease(next).Find(path);
            const bool isDirectory = entry != NoEntry && mView->GetRelease(next).GetTree().IsDirectory(entry);
            parts[directory] = isDirectory ? Hit{next, entry} : Hit{};
        }
    }
    return parts;
}

/// The number of the first layer's own root stands for the root of the mount, whatever directory that is.
NodeNumber MountedTree::GetNumber(const Hit &node) const
{
    return IsSameNode(node, mRoot) ? RootNode : mLayers[node.layer].firstNumber + node.entry;
}

Hit MountedTree::GetNode(NodeNumber number) const
{
    if (number == RootNode)
    {
        return mRoot;
    }
    const auto next = std::upper_bound(mLayers.begin(), mLayers.end(), number,
                                       [](NodeNumber wanted, const MountedLayer &layer)
                                       {
                                           return wanted < layer.firstNumber;
                                       });
    if (next == mLayers.begin())
    {
        return {};
    }
    const auto layer = static_cast<uint32>(next - mLayers.begin() - 1);
    const NodeNumber entry = number - mLayers[layer].firstNumber;
    const bool isThere = entry < mView->GetRelease(layer).GetTree().GetEntryCount();
    return isThere ? Hit{layer, static_cast<EntryIndex>(entry)} : Hit{};
}

Hit MountedTree::FindChild(const Hit &directory, const char *name) const
{
    for (Hit part = directory; part; part = GetNextPart(part))
    {
        const EntryIndex entry = mLayers[part.layer].names.FindChild(part.entry, name);
        if (entry != NoEntry)
        {
            return {part.layer, entry};
        }
    }
    return {};
}

Hit MountedTree::GetNextPart(const Hit &directory) const
{
    const std::vector<Hit> &parts = mLayers[directory.layer].nextParts;
    return parts.empty() ? Hit{} : parts[directory.entry];
}

uint64 MountedTree::CountUnshown() const
{
    uint64 count = 0;
    for (const MountedLayer &layer : mLayers)
    {
        count += layer.names.CountUnshown();
    }
    return count;
}
} // namespace Keld::TreeMount
