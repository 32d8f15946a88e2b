#pragma once

#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <vector>

namespace Keld::MORV::Reader
{
/// Walks directories level by level: those in `order`, and behind them all that lie below them. Afterwards `order`
/// holds every directory of the walk, each in front of its children.
///
/// `enter` gets the index of each directory when its turn comes, before its children are looked up: it may check the
/// record's range of subdirectories first, and may change what stands in that range. It must see to it that the walk
/// ends, where the records are not known to form trees.
template <class Enter>
void WalkLevelOrder(const DirectoryTableEntry *directories, std::vector<uint32> &order, Enter enter)
{
    for (uint_size next = 0; next < order.size(); ++next)
    {
        const uint32 index = order[next];
        enter(index);
        const DirectoryTableEntry &directory = directories[index];
        for (uint32 child = 0; child < directory.subdirectoryCount; ++child)
        {
            order.push_back(directory.firstSubdirectory + child);
        }
    }
}
} // namespace Keld::MORV::Reader
