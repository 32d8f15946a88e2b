#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/listing/ListingFiller.h"
#include "KeldMorvIO/listing/ReleaseManifestTemplate.h"

#include <algorithm>
#include <deque>

// From a manifest to a listing: every file is looked for once, those that are not found are dropped, and what stays is
// copied into one block of exactly the size that it needs. Manifest and archive indexes can go at once afterwards.
namespace Keld::MORV::Reader
{
namespace
{
/// Goes on with a hash over a name, or as much of it as can be part of a path that is looked up. The rest of a longer
/// one would be read again for each entry that has it, and all these hashes serve for is to be looked up.
uint32 HashName(uint32 hash, const char *name)
{
    for (uint32 index = 0; index < PathBufferSize && name[index] != '\0'; ++index)
    {
        hash = HashPathLowerStep(hash, name[index]);
    }
    return hash;
}
} // namespace

ArchiveFilesGuard::~ArchiveFilesGuard()
{
    if (mMetadata == nullptr)
    {
        return;
    }
    std::sort(mMetadata->begin(), mMetadata->end(),
              [](const FileArchiveMetadata &lhs, const FileArchiveMetadata &rhs)
              {
                  return lhs.file < rhs.file;
              });
    AsyncFile previous = AsyncFile::Null;
    for (const FileArchiveMetadata &found : *mMetadata)
    {
        if (found.file != AsyncFile::Null && found.file != previous)
        {
            AsyncClose(found.file);
        }
        previous = found.file;
    }
}

template <class EntryType>
ProjectListing *ReleaseManifestTemplate<EntryType>::CreateListing(const char *root) const
{
    constexpr const char *signature = "Keld::MORV::Reader::ProjectListing "
                                      "*Keld::MORV::Reader::ReleaseManifestTemplate<EntryType>::CreateListing("
                                      "const char *) const";
    if (!IsValid())
    {
        LogError("%s: Failed to create project listing because the manifest is invalid.", signature);
        return nullptr;
    }
    char projectRoot[PathBufferSize] = {};
    if (!ProjectListing::GetProjectRoot(projectRoot, sizeof projectRoot, root, GetProjectName()))
    {
        LogError("%s: Failed to create project listing because the project root could not be obtained.", signature);
        return nullptr;
    }

    ListingSources sources;
    ArchiveFilesGuard archiveFiles(sources.metadata);
    GetFileArchiveMetadata(root, projectRoot, sources.metadata, sources.missing, sources.parents, sources.handles);
    BuildFileRemap(sources.remap, sources.missing);
    if (GetFileCount() == sources.missing.size())
    {
        return nullptr; // every missing file has its line already
    }

    const auto keptCount = static_cast<uint32>(GetFileCount() - sources.missing.size());
    const ListingCounts counts{GetDirectoryCount(), keptCount, BuildHashPairs(sources.pairs, sources.missing),
                               sources.handles, GetStringDataSize()};
    ListingLayout layout{};
    if (!ComputeListingLayout(counts, layout))
    {
        LogError("%s: Failed to create project listing because the data was smaller than expected.", signature);
        return nullptr;
    }

    std::vector<char> storage(layout.mSize);
    const ListingRegions regions(storage.data(), layout);
    CopyStrings(regions.mStrings, sources.strings);
    sources.projectName = sources.strings[mIdentity->projectNameIndex];
    ListingFiller<ReleaseManifestTemplate>(*this, sources, regions, counts).Fill();
    auto *const listing = new ProjectListing(projectRoot);
    listing->Adopt(storage, regions);
    archiveFiles.Release();
    return listing;
}

template <class EntryType>
void ReleaseManifestTemplate<EntryType>::BuildFileRemap(std::vector<uint32> &remap,
                                                        const std::vector<uint32> &missing) const
{
    remap.resize(GetFileCount());
    uint32 keptCount = 0;
    uint_size cursor = 0;
    for (uint32 index = 0; index < remap.size(); ++index)
    {
        if (cursor < missing.size() && index == missing[cursor])
        {
            remap[index] = DroppedFileMark;
            ++cursor;
        }
        else
        {
            remap[index] = keptCount;
            ++keptCount;
        }
    }
}

template <class EntryType>
uint32 ReleaseManifestTemplate<EntryType>::BuildHashPairs(std::vector<std::pair<uint32, uint32>> &pairs,
                                                          const std::vector<uint32> &missing) const
{
    std::vector<uint32> hashes;
    BuildEntryHashes(hashes);
    const uint32 bucketCount = ComputeBucketCount(static_cast<uint32>(hashes.size() - missing.size()));
    pairs.reserve(hashes.size());
    for (uint32 index = 0; index < hashes.size(); ++index)
    {
        pairs.emplace_back(hashes[index] % bucketCount, index);
    }
    std::sort(pairs.begin(), pairs.end(),
              [](const auto &left, const auto &right)
              {
                  return left.first < right.first;
              });
    return bucketCount;
}

// A child's hash goes on from its parent's, so that each name is hashed once and no path is ever made. The results
// equal HashPathLower of the full paths, for all that can be looked up. The root's name takes no part in any path.
template <class EntryType>
void ReleaseManifestTemplate<EntryType>::BuildEntryHashes(std::vector<uint32> &hashes) const
{
    const uint32 directoryCount = GetDirectoryCount();
    hashes.assign(uint_size{directoryCount} + GetFileCount(), 0);
    hashes[0] = HashPathStart;
    std::deque<uint32> queue{0};
    while (!queue.empty())
    {
        const uint32 index = queue.front();
        queue.pop_front();
        const uint32 prefix = index != 0 ? HashPathLowerStep(hashes[index], '/') : hashes[index];
        const DirectoryTableEntry &directory = GetDirectory(index);
        for (uint32 position = 0; position < directory.subdirectoryCount; ++position)
        {
            const uint32 child = directory.firstSubdirectory + position;
            hashes[child] = HashName(prefix, GetString(GetDirectory(child).nameIndex));
            queue.push_back(child);
        }
        for (uint32 position = 0; position < directory.fileCount; ++position)
        {
            const uint32 file = directory.firstFile + position;
            hashes[directoryCount + file] = HashName(prefix, GetString(GetFile(file).nameIndex));
        }
    }
}

// All of the string data, also behind the last string that a record refers to.
template <class EntryType>
void ReleaseManifestTemplate<EntryType>::CopyStrings(char *destination, std::vector<const char *> &strings) const
{
    const uint32 size = GetStringDataSize();
    const char *const first = mStrings.front();
    std_memcpy(destination, size, first, size);
    strings.reserve(mStrings.size());
    for (const char *const string : mStrings)
    {
        strings.push_back(destination + (string - first));
    }
}

template ProjectListing *ReleaseManifestTemplate<FileTableEntry>::CreateListing(const char *) const;
template ProjectListing *ReleaseManifestTemplate<FileTableEntryV0>::CreateListing(const char *) const;
} // namespace Keld::MORV::Reader
