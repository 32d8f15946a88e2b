#include "KeldMorvIO/listing/EntryHashes.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldFoundation/CStd/Remainder.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/listing/AlikePaths.h"
#include "KeldMorvIO/listing/LevelOrder.h"
#include "KeldMorvIO/listing/ListingLayout.h"

#include <algorithm>
#include <span>
#include <utility>

namespace Keld::MORV::Reader
{
namespace
{
// Continues a hash over a name, but reads no more of it than a path can hold. A damaged manifest may give one huge
// name to many entries, and a name that long is never looked up.
uint32 HashEntryName(uint32 hash, const char *name)
{
    for (uint32 index = 0; index < PathBufferSize && name[index] != '\0'; ++index)
    {
        hash = HashPathLowerStep(hash, name[index]);
    }
    return hash;
}

struct EntryHashes
{
    LargeVector<uint32> hashes; ///< by combined index
    bool areAllOfPaths;         ///< every entry is held by a directory, and the root's path is its name: empty
};

// A child's hash continues its parent's, so that each name is hashed once and no path is ever made. Every result
// equals HashPathLower of the entry's path, if that path can be looked up. The root's name is part of no path. Entries
// that no directory holds get 0.
EntryHashes BuildEntryHashes(const ManifestTables &manifest)
{
    const uint32 directoryCount = manifest.GetDirectoryCount();
    LargeVector<uint32> hashes(uint_size{directoryCount} + manifest.GetFileCount(), 0);
    hashes[0] = HashPathStart;
    uint_size hashedCount = 1;
    std::vector<uint32> order{0};
    WalkLevelOrder(manifest.GetDirectories(), order,
                   [&](uint32 index)
                   {
                       const uint32 prefix = index != 0 ? HashPathLowerStep(hashes[index], '/') : hashes[index];
                       const DirectoryTableEntry &directory = manifest.GetDirectory(index);
                       hashedCount += uint_size{directory.subdirectoryCount} + directory.fileCount;
                       for (uint32 position = 0; position < directory.subdirectoryCount; ++position)
                       {
                           const uint32 child = directory.firstSubdirectory + position;
                           const uint32 name = manifest.GetDirectory(child).nameIndex;
                           hashes[child] = HashEntryName(prefix, manifest.GetString(name));
                       }
                       for (uint32 position = 0; position < directory.fileCount; ++position)
                       {
                           const uint32 file = directory.firstFile + position;
                           const uint32 name = manifest.GetFile(file).nameIndex;
                           hashes[directoryCount + file] = HashEntryName(prefix, manifest.GetString(name));
                       }
                   });
    const bool areAllOfPaths =
        hashedCount == hashes.size() && *manifest.GetString(manifest.GetDirectory(0).nameIndex) == '\0';
    return {std::move(hashes), areAllOfPaths};
}

// What the order within a bucket was made by from the start, and is made by wherever it shows.
void SortByBucket(const LargeVector<uint32> &hashes, uint32 bucketCount, LargeVector<HashedEntry> &entries)
{
    using BucketAndIndex = std::pair<uint32, uint32>;
    std::vector<BucketAndIndex> pairs;
    pairs.reserve(hashes.size());
    for (uint32 index = 0; index < hashes.size(); ++index)
    {
        pairs.emplace_back(hashes[index] % bucketCount, index);
    }
    std::sort(pairs.begin(), pairs.end(),
              [](const BucketAndIndex &left, const BucketAndIndex &right)
              {
                  return left.first < right.first;
              });
    for (uint_size place = 0; place < pairs.size(); ++place)
    {
        entries[place] = {hashes[pairs[place].second], pairs[place].second};
    }
}

// The same in linear time but for the order within a bucket.
void CountByBucket(const LargeVector<uint32> &hashes, uint32 bucketCount, LargeVector<HashedEntry> &entries)
{
    const Remainder bucketOf(bucketCount);
    LargeVector<uint32> places(uint_size{bucketCount} + 1, 0);
    for (const uint32 hash : hashes)
    {
        ++places[bucketOf.Of(hash) + 1];
    }
    for (uint_size bucket = 1; bucket < bucketCount; ++bucket)
    {
        places[bucket] += places[bucket - 1];
    }
    for (uint32 index = 0; index < hashes.size(); ++index)
    {
        uint32 &place = places[bucketOf.Of(hashes[index])];
        entries[place] = {hashes[index], index};
        ++place;
    }
}

/// Whether two entries of one bucket may have one path. Buckets of more entries than hashes spread evenly ever bring
/// about count as such.
bool HasAlikePaths(std::span<const HashedEntry> bucket, AlikePaths &paths)
{
    constexpr uint_size longestBucket = 16;
    if (bucket.size() > longestBucket)
    {
        return true;
    }
    for (uint_size index = 1; index < bucket.size(); ++index)
    {
        for (uint_size other = 0; other < index; ++other)
        {
            if (bucket[index].hash == bucket[other].hash && paths.MayBeAlike(bucket[index].index, bucket[other].index))
            {
                return true;
            }
        }
    }
    return false;
}

/// Whether it can be seen how the entries of some bucket stand.
bool DoesOrderShow(const ManifestTables &manifest, const LargeVector<HashedEntry> &entries, uint32 bucketCount)
{
    const Remainder bucketOf(bucketCount);
    AlikePaths paths(manifest);
    for (uint_size begin = 0, end = 0; begin < entries.size(); begin = end)
    {
        const uint32 bucket = bucketOf.Of(entries[begin].hash);
        for (end = begin + 1; end < entries.size() && bucketOf.Of(entries[end].hash) == bucket; ++end)
        {
        }
        if (end - begin > 1 && HasAlikePaths(std::span(entries).subspan(begin, end - begin), paths))
        {
            return true;
        }
    }
    return false;
}
} // namespace

uint32 HashEntries(const ManifestTables &manifest, uint_size missingCount, LargeVector<HashedEntry> &entries)
{
    const auto [hashes, areAllOfPaths] = BuildEntryHashes(manifest);
    const uint32 bucketCount = ComputeBucketCount(static_cast<uint32>(hashes.size() - missingCount));
    entries.resize(hashes.size());
    // Entries without a path are compared with every path of their bucket.
    if (areAllOfPaths)
    {
        CountByBucket(hashes, bucketCount, entries);
    }
    if (!areAllOfPaths || DoesOrderShow(manifest, entries, bucketCount))
    {
        SortByBucket(hashes, bucketCount, entries);
    }
    return bucketCount;
}
} // namespace Keld::MORV::Reader
