#include "KeldMorvIO/listing/EntryHashes.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/listing/LevelOrder.h"
#include "KeldMorvIO/listing/ListingLayout.h"

#include <algorithm>

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

// A child's hash continues its parent's, so that each name is hashed once and no path is ever made. Every result
// equals HashPathLower of the entry's path, if that path can be looked up. The root's name is part of no path. Entries
// that no directory holds get 0.
std::vector<uint32> BuildEntryHashes(const ManifestTables &manifest)
{
    const uint32 directoryCount = manifest.GetDirectoryCount();
    std::vector<uint32> hashes(uint_size{directoryCount} + manifest.GetFileCount());
    hashes[0] = HashPathStart;
    std::vector<uint32> order{0};
    WalkLevelOrder(manifest.GetDirectories(), order,
                   [&](uint32 index)
                   {
                       const uint32 prefix = index != 0 ? HashPathLowerStep(hashes[index], '/') : hashes[index];
                       const DirectoryTableEntry &directory = manifest.GetDirectory(index);
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
    return hashes;
}
} // namespace

uint32 BuildHashPairs(const ManifestTables &manifest, uint_size missingCount, std::vector<uint32> &hashes,
                      std::vector<HashPair> &pairs)
{
    hashes = BuildEntryHashes(manifest);
    const uint32 bucketCount = ComputeBucketCount(static_cast<uint32>(hashes.size() - missingCount));
    pairs.reserve(hashes.size());
    for (uint32 index = 0; index < hashes.size(); ++index)
    {
        pairs.emplace_back(hashes[index] % bucketCount, index);
    }
    std::sort(pairs.begin(), pairs.end(),
              [](const HashPair &left, const HashPair &right)
              {
                  return left.first < right.first;
              });
    return bucketCount;
}
} // namespace Keld::MORV::Reader
