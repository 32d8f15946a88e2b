#include "KeldMorvIO/listing/ProjectListing.h"

#include "KeldFoundation/CStd/FoldWord.h"
#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/listing/ListingLayout.h"
#include "KeldMorvIO/listing/LookupPath.h"

#include <memory>
#include <utility>

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

/// Whether the hash of every slot is that of a path under which its entry can be found. Records that no directory holds
/// have no path, and a named root is found under its name, though it has the hash of the empty path.
bool EveryEntryHasItsPath(const ListingHeader &header, const DirectoryEntry *directories)
{
    uint64 childCount = 1; // the root
    uint64 fileCount = 0;
    for (uint32 index = 0; index < header.mDirectoryCount; ++index)
    {
        childCount += directories[index].mSubdirectoryCount;
        fileCount += directories[index].mFileCount;
    }
    return childCount == header.mDirectoryCount && fileCount == header.mFileCount && *directories->mEntry.mName == '\0';
}

bool HasPath(const FileEntry *entry, const char *path)
{
    PathMatcher matcher(path);
    EntryPaths::WalkToRoot(entry, matcher);
    return matcher.IsFullMatch();
}

bool IsSameByByte(const char *name, const char *wanted, uint32 length)
{
    for (uint32 position = 0; position < length; ++position)
    {
        if (FoldCase(name[position]) != wanted[position]) // a name that ends early has a NUL here
        {
            return false;
        }
    }
    return true;
}

/// The same for names of a word and more that may be read for their whole length. The last word has bytes of the one
/// before.
bool IsSameByWord(const char *name, const char *wanted, uint32 length)
{
    constexpr uint32 wordSize = sizeof(uint64);
    const uint32 last = length - wordSize;
    for (uint32 position = 0; position < last; position += wordSize)
    {
        if (FoldWord(LoadWord(name + position)) != LoadWord(wanted + position))
        {
            return false;
        }
    }
    return FoldWord(LoadWord(name + last)) == LoadWord(wanted + last);
}

/// Whether `name` is the same as one of the path's names, but for its case.
/// \param textEnd of the texts that the name is one of.
bool IsName(const char *name, const LookupPath &path, uint32 index, const char *textEnd)
{
    const char *const wanted = path.GetName(index);
    const uint32 length = path.GetNameLength(index);
    const bool isByWord = length >= sizeof(uint64) && static_cast<uint_size>(textEnd - name) > length;
    return (isByWord ? IsSameByWord(name, wanted, length) : IsSameByByte(name, wanted, length)) && name[length] == '\0';
}

/// Whether the names of an entry and its ancestors are those of the path, one for one from the leaf up.
bool HasNamesOf(const FileEntry *entry, const LookupPath &path, const char *textEnd)
{
    const ListingEntry *current = &GetListingEntry(entry);
    for (uint32 index = path.GetNameCount() - 1; IsName(current->mName, path, index, textEnd); --index)
    {
        const DirectoryEntry *const parent = current->mParent;
        const bool isLast = parent == nullptr || parent->mEntry.mParent == nullptr;
        if (isLast || index == 0)
        {
            return isLast && index == 0;
        }
        current = &parent->mEntry;
    }
    return false;
}

/// What a matcher says, and in nearly all cases without one. Names with separators in them are left to it: only they
/// can make up a path of which they are not the names.
bool IsPathOf(const FileEntry *entry, const LookupPath &path, const char *textEnd)
{
    return HasNamesOf(entry, path, textEnd) || HasPath(entry, path.GetText());
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

void ProjectListing::Adopt(ListingBlock block, const ListingRegions &regions)
{
    *regions.mOwner = this;
    mBlock = std::move(block);
    mHeader = regions.mHeader;
    mDirectoryCount = &regions.mHeader->mDirectoryCount;
    mBucketOf = Remainder(regions.mHeader->mBucketCount);
    mBuckets = regions.mBuckets;
    mChain = regions.mChain;
    mDirectories = regions.mDirectories;
    mFiles = regions.mFiles;
    mFileHandleHeader = regions.mFileHandleHeader;
    mArchiveFiles = regions.mArchiveFiles;
    mManagedFiles = regions.mManagedFiles;
    mNakedFiles = regions.mNakedFiles;
    mTextEnd = regions.mEnd;
    mHashesDecide = EveryEntryHasItsPath(*mHeader, mDirectories);
}

const ProjectListing::FileEntry *ProjectListing::FindEntry(const char *path) const
{
    if (path == nullptr)
    {
        return nullptr;
    }
    const LookupPath lookup(path, LookupPath::Form::Canonical);
    if (lookup.Fits())
    {
        return FindEntry(lookup);
    }
    return path[0] != '/' ? SearchBucket(path, HashPathLower(path)) : nullptr;
}

const ProjectListing::FileEntry *ProjectListing::FindEntry(const LookupPath &path) const
{
    // No entry's path begins with a separator. The matcher works from the other end and would accept one.
    if (path.GetText()[0] == '/')
    {
        return nullptr;
    }
    if (!mHashesDecide)
    {
        return SearchBucket(path.GetText(), path.GetHash());
    }
    for (const HashSlot &slot : GetBucket(mBucketOf.Of(path.GetHash())))
    {
        if (slot.mHash == path.GetHash() && IsPathOf(slot.mEntry, path, mTextEnd))
        {
            return slot.mEntry;
        }
    }
    return nullptr;
}

// Holds the path against every entry of its bucket, whatever their hashes.
const ProjectListing::FileEntry *ProjectListing::SearchBucket(const char *path, uint32 hash) const
{
    for (const HashSlot &slot : GetBucket(mBucketOf.Of(hash)))
    {
        if (HasPath(slot.mEntry, path))
        {
            return slot.mEntry;
        }
    }
    return nullptr;
}

std::span<const HashSlot> ProjectListing::GetSlots() const
{
    return {mChain, mBuckets[mHeader->mBucketCount].mFirst};
}

std::span<const HashSlot> ProjectListing::GetBucket(uint32 index) const
{
    const uint32 first = mBuckets[index].mFirst;
    return {mChain + first, mBuckets[index + 1].mFirst - first};
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
    FileInfo *const state = GetState(entry);
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
    if (state.GetReferenceCount() == 0)
    {
        char path[PathBufferSize] = {};
        if (!GetFilePath(entry, path, sizeof path))
        {
            return false;
        }
        const AsyncFile file = OpenNakedFile(type, mProjectRoot.c_str(), releaseVersion, entry->mVersion, path);
        if (file == AsyncFile::Null)
        {
            return false;
        }
        state.SetFile(file);
    }
    state.AddReference(); // last, since what stands before may run out of memory
    return true;
}

const UncompressedBlocks *ProjectListing::GetContent(const FileEntry *entry) const
{
    const FileInfo *const state = GetState(entry);
    return IsArchived(state) ? static_cast<const ArchiveFile *>(state)->GetContent() : nullptr;
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
    const FileInfo *const state = GetState(entry);
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
    FileInfo *const state = GetState(entry);
    if (IsArchived(state))
    {
        static_cast<ArchiveFile *>(state)->Close();
    }
    else if (IsNaked(state) || IsManaged(state))
    {
        state->Close();
    }
}

// A directory that no directory holds is not known as one, and its record is shorter than a file's: what stands where
// the state would be is bytes of the manifest's choice.
ProjectListing::FileInfo *ProjectListing::GetState(const FileEntry *entry) const
{
    return IsInRegion(entry, mFiles, mHeader->mFileCount) ? entry->mOpenState.Get() : nullptr;
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
