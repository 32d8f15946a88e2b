#include "Tools/TreeReader/LookupIndex.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/listing/EntryHashes.h"

namespace Keld::TreeReader
{
LookupIndex::LookupIndex(const ManifestTree &tree, uint32 missingCount) : mTree(tree)
{
    LargeVector<MORV::Reader::HashedEntry> entries;
    const uint32 bucketCount = MORV::Reader::HashEntries(tree.GetTables(), missingCount, entries);
    mStarts.assign(uint_size{bucketCount} + 1, 0);
    mEntries.reserve(entries.size());
    for (const MORV::Reader::HashedEntry &entry : entries)
    {
        ++mStarts[entry.hash % bucketCount + 1];
        mEntries.push_back(entry.index);
    }
    for (uint_size bucket = 0; bucket < bucketCount; ++bucket)
    {
        mStarts[bucket + 1] += mStarts[bucket];
    }
}

uint32 LookupIndex::GetBucket(const char *path) const
{
    return HashPathLower(path) % static_cast<uint32>(mStarts.size() - 1);
}
} // namespace Keld::TreeReader
