#include "KeldMorvIO/listing/ListingFiller.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/Remainder.h"

#include <new>

namespace Keld::MORV::Reader
{
namespace
{
constexpr uint32 NoState = 0xFFFFFFFF;
} // namespace

ListingFiller::ListingFiller(const ManifestTables &manifest, ListingSources &sources, const ListingRegions &regions,
                             const ListingCounts &counts)
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
    header.mProjectName = GetString(mManifest.GetProjectNameIndex());
    header.mReleaseVersion = mManifest.GetReleaseVersion();
    header.mDirectoryCount = mCounts.mDirectoryCount;
    header.mFileCount = mCounts.mFileCount;
    header.mBucketCount = mCounts.mBucketCount;
}

// The entries stand by bucket, so the slots of one bucket follow each other.
void ListingFiller::FillTable()
{
    const Remainder bucketOf(mCounts.mBucketCount);
    uint32 slot = 0;
    uint32 begun = 0; // buckets whose slots have begun
    for (const HashedEntry &hashed : mSources.entries)
    {
        const FileEntry *const entry = EntryOf(hashed.index);
        if (entry == nullptr)
        {
            continue;
        }
        for (const uint32 bucket = bucketOf.Of(hashed.hash); begun <= bucket; ++begun)
        {
            mRegions.mBuckets[begun].mFirst = slot;
        }
        mRegions.mChain[slot].mHash = hashed.hash;
        mRegions.mChain[slot].mEntry = entry;
        ++slot;
    }
    for (; begun <= mCounts.mBucketCount; ++begun)
    {
        mRegions.mBuckets[begun].mFirst = slot;
    }
    LargeVector<HashedEntry>().swap(mSources.entries); // the rest of the block is still to be touched
}

// The entry of a combined index, or null for a dropped file.
const FileEntry *ListingFiller::EntryOf(uint32 combinedIndex) const
{
    if (combinedIndex < mCounts.mDirectoryCount)
    {
        return AsFileEntry(mRegions.mDirectories + combinedIndex);
    }
    const uint32 kept = GetKept(combinedIndex - mCounts.mDirectoryCount);
    return kept != DroppedFileMark ? mRegions.mFiles + kept : nullptr;
}

uint32 ListingFiller::GetKept(uint32 fileIndex) const
{
    return mSources.remap.empty() ? fileIndex : mSources.remap[fileIndex];
}

// A string of the manifest, where the block has it.
const char *ListingFiller::GetString(uint32 nameIndex) const
{
    return mRegions.mStrings + (mManifest.GetString(nameIndex) - mManifest.GetStringData());
}

void ListingFiller::FillDirectories()
{
    for (uint32 index = 0; index < mCounts.mDirectoryCount; ++index)
    {
        const DirectoryTableEntry &record = mManifest.GetDirectory(index);
        DirectoryEntry &entry = mRegions.mDirectories[index];
        entry.mEntry.mName = GetString(record.nameIndex);
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
        const uint32 kept = GetKept(record.firstFile + position);
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

// Gives the number of every file's open state by its manifest index: NoState for dropped files and those in no
// directory.
LargeVector<uint32> ListingFiller::MakeOpenStates()
{
    const FileHandleHeader &handles = mSources.handles;
    *mRegions.mFileHandleHeader = handles;
    LargeVector<uint32> numbers(mManifest.GetFileCount(), NoState);
    for (uint32 index = 0; index < handles.mArchivedCount; ++index)
    {
        const FileArchiveMetadata &found = mSources.metadata[index];
        ::new (static_cast<void *>(mRegions.mArchiveFiles + index))
            ArchivedFileInfo(found.file, found.offset, CompressionOfFlags(found.flags), found.size);
        numbers[found.fileIndex] = index;
    }
    MakePlainStates(mRegions.mManagedFiles, handles.mArchivedCount, handles.mManagedCount, numbers);
    const auto firstNaked = static_cast<uint32>(mSources.metadata.size()) - handles.mNakedCount;
    MakePlainStates(mRegions.mNakedFiles, firstNaked, handles.mNakedCount, numbers);
    return numbers;
}

void ListingFiller::MakePlainStates(FileInfo *states, uint32 firstMetadata, uint32 count, LargeVector<uint32> &numbers)
{
    for (uint32 index = 0; index < count; ++index)
    {
        ::new (static_cast<void *>(states + index)) FileInfo;
        numbers[mSources.metadata[firstMetadata + index].fileIndex] = firstMetadata + index;
    }
}

// A state's number is the place of its record among those that were found.
FileInfo *ListingFiller::GetState(uint32 number) const
{
    const FileHandleHeader &handles = mSources.handles;
    if (number == NoState)
    {
        return nullptr;
    }
    if (number < handles.mArchivedCount)
    {
        return mRegions.mArchiveFiles + number;
    }
    if (number < handles.mArchivedCount + handles.mManagedCount)
    {
        return mRegions.mManagedFiles + (number - handles.mArchivedCount);
    }
    return mRegions.mNakedFiles + (number - (static_cast<uint32>(mSources.metadata.size()) - handles.mNakedCount));
}

void ListingFiller::FillFiles(const LargeVector<uint32> &stateNumbers)
{
    for (uint32 index = 0; index < mManifest.GetFileCount(); ++index)
    {
        const uint32 kept = GetKept(index);
        if (kept == DroppedFileMark)
        {
            continue;
        }
        const FileTableFields &record = mManifest.GetFile(index);
        FileEntry &entry = mRegions.mFiles[kept];
        std_memcpy(entry.mDigest, sizeof entry.mDigest, record.digest, sizeof record.digest);
        entry.mOpenState = GetState(stateNumbers[index]);
        entry.mEntry.mName = GetString(record.nameIndex);
        entry.mEntry.mParent = mRegions.mDirectories + mSources.parents[mCounts.mDirectoryCount + index];
        entry.mSize = record.size;
        entry.mVersion = record.version;
    }
}
} // namespace Keld::MORV::Reader
