#include "KeldMorvIO/listing/ProjectListing.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/listing/ListingLayout.h"
#include "KeldMorvIO/listing/PathProcessors.h"

#include <memory>

namespace Keld::MORV::Reader
{
namespace
{
/// Whether `record` is one of the `count` records from `first` on. Compared as numbers: pointers into different objects
/// have no order.
template <class Record>
bool IsInRegion(const void *record, const Record *first, uint_size count)
{
    const auto address = reinterpret_cast<std::uintptr_t>(record);
    const auto begin = reinterpret_cast<std::uintptr_t>(first);
    return address >= begin && address < begin + count * sizeof(Record);
}

/// Closes each handle of a region once: records that share one are neighbours.
template <class Record>
void ResetRegion(Record *records, uint32 count)
{
    AsyncFile lastClosed = AsyncFile::Null;
    for (uint32 index = 0; index < count; ++index)
    {
        Record &record = records[index];
        if (record.GetFile() != lastClosed)
        {
            lastClosed = record.GetFile();
            AsyncClose(lastClosed);
        }
        record.Reset();
    }
    std::destroy_n(records, count);
}
} // namespace

ProjectListing::ProjectListing(const char *projectRoot) : mProjectRoot(projectRoot) {}

ProjectListing::~ProjectListing()
{
    if (mFileHandleHeader == nullptr)
    {
        return;
    }
    ResetRegion(mArchiveFiles, mFileHandleHeader->mArchivedCount);
    ResetRegion(mManagedFiles, mFileHandleHeader->mManagedCount);
    ResetRegion(mNakedFiles, mFileHandleHeader->mNakedCount);
}

void ProjectListing::Adopt(std::vector<char> &storage, const ListingRegions &regions)
{
    *regions.mOwner = this;
    mStorage.swap(storage);
    mHeader = regions.mHeader;
    mDirectoryCount = &regions.mHeader->mDirectoryCount;
    mBuckets = regions.mBuckets;
    mDirectories = regions.mDirectories;
    mFiles = regions.mFiles;
    mFileHandleHeader = regions.mFileHandleHeader;
    mArchiveFiles = regions.mArchiveFiles;
    mManagedFiles = regions.mManagedFiles;
    mNakedFiles = regions.mNakedFiles;
}

const ProjectListing::FileEntry *ProjectListing::FindEntry(const char *path) const
{
    // No entry's path begins with a separator, yet the matcher, which works from the other end, would let one pass.
    if (path == nullptr || path[0] == '/')
    {
        return nullptr;
    }
    const HashBucket &bucket = mBuckets[HashPathLower(path) % mHeader->mBucketCount];
    for (uint32 index = 0; index < bucket.mCount; ++index)
    {
        const FileEntry *const entry = bucket.mFirst[index];
        PathMatcher matcher(path);
        WalkToRoot(entry, matcher);
        if (matcher.IsFullMatch())
        {
            return entry;
        }
    }
    return nullptr;
}

bool ProjectListing::IsDirectory(const FileEntry *entry)
{
    const DirectoryEntry *const parent = GetListingEntry(entry).mParent;
    return parent == nullptr || IsInRegion(entry, parent->mFirstSubdirectory, parent->mSubdirectoryCount);
}

uint32 ProjectListing::GetFileSize(const FileEntry *entry)
{
    return IsDirectory(entry) ? 0 : entry->mSize;
}

ProjectListing *ProjectListing::GetOwner(const FileEntry *entry)
{
    const ListingEntry *ancestor = &GetListingEntry(entry);
    while (ancestor->mParent != nullptr)
    {
        ancestor = &ancestor->mParent->mEntry;
    }
    // The root is the first directory record, and the owner's slot stands directly before it.
    return *(static_cast<ProjectListing *const *>(static_cast<const void *>(ancestor)) - 1);
}

const char *ProjectListing::GetProjectName() const
{
    return mHeader->mProjectName;
}

MorvVersion ProjectListing::GetReleaseVersion() const
{
    return mHeader->mReleaseVersion;
}

bool ProjectListing::IsArchived(const FileInfo *state) const
{
    return IsInRegion(state, mArchiveFiles, mFileHandleHeader->mArchivedCount);
}

bool ProjectListing::IsManaged(const FileInfo *state) const
{
    return IsInRegion(state, mManagedFiles, mFileHandleHeader->mManagedCount);
}

bool ProjectListing::IsNaked(const FileInfo *state) const
{
    return IsInRegion(state, mNakedFiles, mFileHandleHeader->mNakedCount);
}
} // namespace Keld::MORV::Reader
