#include "KeldMorvIO/listing/ProjectListing.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/listing/ListingLayout.h"

#include <memory>

namespace Keld::MORV::Reader
{
namespace
{
// Managed files are looked for under their own version; the release's is not used.
constexpr MorvVersion UnusedReleaseVersion = 0xFFFFFFFF;

// Closes each handle of a region once: records that share one are neighbours.
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
    // No entry's path begins with a separator. The matcher works from the other end and would accept one.
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
    return IsDirectoryEntry(entry);
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

// Open, Read and Close act by the region that holds a file's open state, since the records have no kind. One lock
// covers a whole first open, decompression included; reads take none.

bool ProjectListing::Open(const FileEntry *entry)
{
    if (entry == nullptr || IsDirectory(entry))
    {
        return false;
    }
    const MutexLock lock(mMutex);
    FileInfo *const state = entry->mOpenState;
    if (IsArchived(state))
    {
        return static_cast<ArchiveFile *>(state)->Open(entry);
    }
    if (IsNaked(state))
    {
        return OpenPlainFile(entry, FileTypeDeploy, mHeader->mReleaseVersion);
    }
    if (IsManaged(state))
    {
        return OpenPlainFile(entry, FileTypeManaged, UnusedReleaseVersion);
    }
    return false;
}

bool ProjectListing::OpenPlainFile(const FileEntry *entry, FileType type, MorvVersion releaseVersion)
{
    FileInfo &state = *entry->mOpenState;
    if (!state.AddReference())
    {
        return true;
    }
    char path[PathBufferSize] = {};
    if (!GetFilePath(entry, path, sizeof path))
    {
        state.RemoveReference();
        return false;
    }
    state.SetFile(OpenNakedFile(type, mProjectRoot.c_str(), releaseVersion, entry->mVersion, path));
    if (state.GetFile() == AsyncFile::Null)
    {
        state.RemoveReference();
        return false;
    }
    return true;
}

bool ProjectListing::Read(const FileEntry *entry, uint64 offset, uint32 count, uint32 *bytesRead, void *buffer) const
{
    if (entry == nullptr || IsDirectory(entry))
    {
        return false;
    }
    if (count == 0)
    {
        return true;
    }
    const FileInfo *const state = entry->mOpenState;
    if (IsArchived(state))
    {
        return static_cast<const ArchiveFile *>(state)->Read(offset, count, bytesRead, buffer);
    }
    if (IsNaked(state) || IsManaged(state))
    {
        return state->Read(offset, count, bytesRead, buffer);
    }
    return false;
}

void ProjectListing::Close(const FileEntry *entry)
{
    if (entry == nullptr || IsDirectory(entry))
    {
        return;
    }
    const MutexLock lock(mMutex);
    FileInfo *const state = entry->mOpenState;
    if (IsArchived(state))
    {
        static_cast<ArchiveFile *>(state)->Close();
    }
    else if (IsNaked(state) || IsManaged(state))
    {
        state->Close();
    }
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
