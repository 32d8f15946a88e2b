#include "KeldMorvIO/listing/ListingFiller.h"

#include "KeldFoundation/CStd/CStd.h"

#include <new>

namespace Keld::MORV::Reader
{
ListingFiller::ListingFiller(const ManifestTables &manifest, const ListingSources &sources,
                             const ListingRegions &regions, const ListingCounts &counts)
    : mManifest(manifest), mSources(sources), mRegions(regions), mCounts(counts)
{
}

void ListingFiller::Fill()
{
    FillHeader();
    FillTable();
    FillDirectories();
    FillFiles(MakeOpenStates());
}

void ListingFiller::FillHeader()
{
    ListingHeader &header = *mRegions.mHeader;
    header.mProjectName = mSources.strings[mManifest.GetProjectNameIndex()];
    header.mReleaseVersion = mManifest.GetReleaseVersion();
    header.mDirectoryCount = mCounts.mDirectoryCount;
    header.mFileCount = mCounts.mFileCount;
    header.mBucketCount = mCounts.mBucketCount;
}

// The pairs are sorted by bucket, so the slots of one bucket follow each other.
void ListingFiller::FillTable()
{
    uint32 slot = 0;
    uint32 begun = 0; // buckets whose slots have begun
    for (const auto &[bucketIndex, entryIndex] : mSources.pairs)
    {
        const FileEntry *const entry = EntryOf(entryIndex);
        if (entry == nullptr)
        {
            continue;
        }
        for (; begun <= bucketIndex; ++begun)
        {
            mRegions.mBuckets[begun].mFirst = slot;
        }
        mRegions.mChain[slot].mHash = mSources.hashes[entryIndex];
        mRegions.mChain[slot].mEntry = entry;
        ++slot;
    }
    for (; begun <= mCounts.mBucketCount; ++begun)
    {
        mRegions.mBuckets[begun].mFirst = slot;
    }
}

// The entry of a combined index, or null for a dropped file.
const FileEntry *ListingFiller::EntryOf(uint32 combinedIndex) const
{
    if (combinedIndex < mCounts.mDirectoryCount)
    {
        return AsFileEntry(mRegions.mDirectories + combinedIndex);
    }
    const uint32 kept = mSources.remap[combinedIndex - mCounts.mDirectoryCount];
    return kept != DroppedFileMark ? mRegions.mFiles + kept : nullptr;
}

void ListingFiller::FillDirectories()
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

// The kept files of a directory have consecutive new indices, since those follow the manifest's order.
void ListingFiller::FillFileRange(const DirectoryTableEntry &record, DirectoryEntry &entry)
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

// Gives the open state of every file by its manifest index: null for dropped files and those in no directory.
std::vector<FileInfo *> ListingFiller::MakeOpenStates()
{
    const FileHandleHeader &handles = mSources.handles;
    *mRegions.mFileHandleHeader = handles;
    std::vector<FileInfo *> infos(mManifest.GetFileCount());
    for (uint32 index = 0; index < handles.mArchivedCount; ++index)
    {
        const FileArchiveMetadata &found = mSources.metadata[index];
        infos[found.fileIndex] = ::new (static_cast<void *>(mRegions.mArchiveFiles + index))
            ArchivedFileInfo(found.file, found.offset, CompressionOfFlags(found.flags), found.size);
    }
    MakePlainStates(mRegions.mManagedFiles, handles.mArchivedCount, handles.mManagedCount, infos);
    const auto firstNaked = static_cast<uint32>(mSources.metadata.size()) - handles.mNakedCount;
    MakePlainStates(mRegions.mNakedFiles, firstNaked, handles.mNakedCount, infos);
    return infos;
}

void ListingFiller::MakePlainStates(FileInfo *states, uint32 firstMetadata, uint32 count,
                                    std::vector<FileInfo *> &infos)
{
    for (uint32 index = 0; index < count; ++index)
    {
        infos[mSources.metadata[firstMetadata + index].fileIndex] =
            ::new (static_cast<void *>(states + index)) FileInfo;
    }
}

void ListingFiller::FillFiles(const std::vector<FileInfo *> &infos)
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
} // namespace Keld::MORV::Reader
