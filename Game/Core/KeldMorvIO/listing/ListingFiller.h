#pragma once

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/listing/FileArchiveMetadata.h"
#include "KeldMorvIO/listing/ListingLayout.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <new>
#include <utility>
#include <vector>

namespace Keld::MORV::Reader
{
/// The place of a dropped file in the numbering of the kept ones.
inline constexpr uint32 DroppedFileMark = 0xFFFFFFFF;

/// How the bytes of an archived file are stored, from the flags of its manifest record: ZLIB wins over LZMA, and
/// FileFlagCompressed alone means no compression.
constexpr uint32 CompressionOfFlags(uint32 flags)
{
    if ((flags & FileFlagCompressed) == 0)
    {
        return CompressionNone;
    }
    if ((flags & FileFlagZlib) != 0)
    {
        return CompressionZlib;
    }
    return (flags & FileFlagLzma) != 0 ? CompressionLzma : CompressionNone;
}

/// Holds the archive data files of a listing in the making, from before the first is opened: closes each once, unless
/// the listing takes them over. The records may be in any order, and are in another afterwards.
class ArchiveFilesGuard
{
public:
    explicit ArchiveFilesGuard(std::vector<FileArchiveMetadata> &metadata) : mMetadata(&metadata) {}
    ~ArchiveFilesGuard();

    ArchiveFilesGuard(const ArchiveFilesGuard &) = delete;
    ArchiveFilesGuard &operator=(const ArchiveFilesGuard &) = delete;

    void Release() { mMetadata = nullptr; }

private:
    std::vector<FileArchiveMetadata> *mMetadata;
};

/// What a block is filled from, besides the manifest.
struct ListingSources
{
    std::vector<FileArchiveMetadata> metadata;    ///< of the kept files: archived, managed, naked
    std::vector<uint32> missing;                  ///< manifest indices of the dropped files, ascending
    std::vector<uint32> parents;                  ///< parent directory by combined index: directories, then files
    std::vector<uint32> remap;                    ///< new index by manifest file index, or DroppedFileMark
    std::vector<const char *> strings;            ///< the manifest's strings, inside the block
    std::vector<std::pair<uint32, uint32>> pairs; ///< bucket and combined index, by bucket
    const char *projectName = nullptr;            ///< one of the strings
    ProjectListing::FileHandleHeader handles = {};
};

/// Fills the regions of a zeroed block from a manifest and the files that were found for it.
template <class Manifest>
class ListingFiller
{
public:
    ListingFiller(const Manifest &manifest, const ListingSources &sources, const ListingRegions &regions,
                  const ListingCounts &counts)
        : mManifest(manifest), mSources(sources), mRegions(regions), mCounts(counts)
    {
    }

    void Fill()
    {
        FillHeader();
        FillTable();
        FillDirectories();
        FillFiles(MakeOpenStates());
    }

private:
    using FileEntry = ProjectListing::FileEntry;

    void FillHeader()
    {
        *mRegions.mHeader = ListingHeader{mSources.projectName, mManifest.GetReleaseVersion(), mCounts.mDirectoryCount,
                                          mCounts.mFileCount, mCounts.mBucketCount};
    }

    /// The pairs come by bucket, so that the chain slots of each bucket end up in a row.
    void FillTable()
    {
        const FileEntry **slot = mRegions.mChain;
        for (const auto &[bucketIndex, entryIndex] : mSources.pairs)
        {
            const FileEntry *const entry = EntryOf(entryIndex);
            if (entry == nullptr)
            {
                continue;
            }
            HashBucket &bucket = mRegions.mBuckets[bucketIndex];
            if (bucket.mFirst == nullptr)
            {
                bucket.mFirst = slot;
            }
            ++bucket.mCount;
            *slot = entry;
            ++slot;
        }
    }

    /// The entry of a combined index, or null for a dropped file.
    const FileEntry *EntryOf(uint32 combinedIndex) const
    {
        if (combinedIndex < mCounts.mDirectoryCount)
        {
            return AsFileEntry(mRegions.mDirectories + combinedIndex);
        }
        const uint32 kept = mSources.remap[combinedIndex - mCounts.mDirectoryCount];
        return kept != DroppedFileMark ? mRegions.mFiles + kept : nullptr;
    }

    void FillDirectories()
    {
        for (uint32 index = 0; index < mCounts.mDirectoryCount; ++index)
        {
            const DirectoryTableEntry &record = mManifest.GetDirectory(index);
            DirectoryEntry &entry = mRegions.mDirectories[index];
            entry.mEntry.mName = mSources.strings[record.nameIndex];
            entry.mEntry.mParent = index != 0 ? mRegions.mDirectories + mSources.parents[index] : nullptr;
            entry.mSubdirectoryCount = record.subdirectoryCount;
            entry.mFirstSubdirectory =
                record.subdirectoryCount != 0 ? mRegions.mDirectories + record.firstSubdirectory : nullptr;
            FillFileRange(record, entry);
        }
    }

    /// The kept files of a directory have consecutive new indices, since those follow the manifest's order.
    void FillFileRange(const DirectoryTableEntry &record, DirectoryEntry &entry)
    {
        for (uint32 position = 0; position < record.fileCount; ++position)
        {
            const uint32 kept = mSources.remap[record.firstFile + position];
            if (kept == DroppedFileMark)
            {
                continue;
            }
            if (entry.mFirstFile == nullptr)
            {
                entry.mFirstFile = mRegions.mFiles + kept;
            }
            ++entry.mFileCount;
        }
    }

    /// Gives the open state of every file by its manifest index: null for dropped files and those in no directory.
    std::vector<ProjectListing::FileInfo *> MakeOpenStates()
    {
        const ProjectListing::FileHandleHeader &handles = mSources.handles;
        *mRegions.mFileHandleHeader = handles;
        std::vector<ProjectListing::FileInfo *> infos(mManifest.GetFileCount());
        for (uint32 index = 0; index < handles.mArchivedCount; ++index)
        {
            const FileArchiveMetadata &found = mSources.metadata[index];
            infos[found.fileIndex] = ::new (static_cast<void *>(mRegions.mArchiveFiles + index))
                ProjectListing::ArchiveFile(found.file, found.offset, CompressionOfFlags(found.flags), found.size);
        }
        MakePlainStates(mRegions.mManagedFiles, handles.mArchivedCount, handles.mManagedCount, infos);
        const auto firstNaked = static_cast<uint32>(mSources.metadata.size()) - handles.mNakedCount;
        MakePlainStates(mRegions.mNakedFiles, firstNaked, handles.mNakedCount, infos);
        return infos;
    }

    void MakePlainStates(ProjectListing::FileInfo *states, uint32 firstMetadata, uint32 count,
                         std::vector<ProjectListing::FileInfo *> &infos)
    {
        for (uint32 index = 0; index < count; ++index)
        {
            infos[mSources.metadata[firstMetadata + index].fileIndex] =
                ::new (static_cast<void *>(states + index)) ProjectListing::FileInfo;
        }
    }

    void FillFiles(const std::vector<ProjectListing::FileInfo *> &infos)
    {
        for (uint32 index = 0; index < mManifest.GetFileCount(); ++index)
        {
            if (mSources.remap[index] == DroppedFileMark)
            {
                continue;
            }
            const FileTableFields &record = mManifest.GetFile(index);
            FileEntry &entry = mRegions.mFiles[mSources.remap[index]];
            std_memcpy(entry.mDigest, sizeof entry.mDigest, record.digest, sizeof record.digest);
            entry.mOpenState = infos[index];
            entry.mEntry.mName = mSources.strings[record.nameIndex];
            entry.mEntry.mParent = mRegions.mDirectories + mSources.parents[mCounts.mDirectoryCount + index];
            entry.mSize = record.size;
            entry.mVersion = record.version;
        }
    }

    const Manifest &mManifest;
    const ListingSources &mSources;
    const ListingRegions &mRegions;
    const ListingCounts &mCounts;
};
} // namespace Keld::MORV::Reader
