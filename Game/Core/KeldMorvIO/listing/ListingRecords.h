#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/version/MorvVersion.h"
#include "KeldMorvIO/listing/BlockLink.h"

#include <cstddef>
#include <cstdint>
#include <type_traits>

// The records of a listing's block. They have no kind fields: the region of the block that holds a record tells its
// kind. Consumers of a listing know them by the names that ProjectListing gives them.
namespace Keld::MORV::Reader
{
struct DirectoryEntry;
struct FileEntry;
class FileInfo;

/// What directories and files begin with.
struct ListingEntry
{
    BlockLink<const char> mName; ///< its own name, with its case, in the listing's strings
    BlockLink<const DirectoryEntry> mParent;
};

/// A directory of the tree. Its children of one kind lie in a row, ascending without regard to case.
struct DirectoryEntry
{
    ListingEntry mEntry;                                ///< the parent is null for the root alone
    BlockLink<const DirectoryEntry> mFirstSubdirectory; ///< null when there are none
    uint32 mSubdirectoryCount;
    BlockLink<const FileEntry> mFirstFile; ///< null when no file was kept
    uint32 mFileCount;                     ///< of the files that were kept
};

/// A file of the tree.
struct FileEntry
{
    ListingEntry mEntry;
    uint8 mDigest[16]; ///< as in the manifest
    MorvVersion mVersion;
    uint32 mSize;                   ///< bytes of content, as in the manifest
    BlockLink<FileInfo> mOpenState; ///< of a plain or of an archived file, by its address
};

/// Head of the block.
struct ListingHeader
{
    BlockLink<const char> mProjectName; ///< in the listing's strings
    MorvVersion mReleaseVersion;
    uint32 mDirectoryCount;
    uint32 mFileCount; ///< of the files that were kept
    uint32 mBucketCount;
};

/// Where the chain slots of a bucket begin: those of all paths with one hash, modulo the bucket count. They end where
/// those of the next bucket begin, and one more record behind the last bucket says where its slots end.
struct HashBucket
{
    uint32 mFirst; ///< index of a chain slot
};

/// One place of the chain. A lookup looks at the entry only if the hash is that of its path.
struct HashSlot
{
    uint32 mHash; ///< HashPathLower of the entry's path; 0 for an entry that no directory holds
    BlockLink<const FileEntry> mEntry;
};

/// How many files lie where; stands before the open-state records.
struct FileHandleHeader
{
    uint32 mArchivedCount;
    uint32 mManagedCount;
    uint32 mNakedCount;
};

// Either kind of entry is passed as a `const FileEntry *`, and read through its first member until the kind is known.
static_assert(std::is_standard_layout_v<DirectoryEntry> && offsetof(DirectoryEntry, mEntry) == 0);
static_assert(std::is_standard_layout_v<FileEntry> && offsetof(FileEntry, mEntry) == 0);
static_assert(alignof(DirectoryEntry) == alignof(FileEntry));

static_assert(sizeof(ListingEntry) == 8 && offsetof(ListingEntry, mParent) == 4);
static_assert(sizeof(DirectoryEntry) == 24 && offsetof(DirectoryEntry, mFirstSubdirectory) == 8 &&
              offsetof(DirectoryEntry, mSubdirectoryCount) == 12 && offsetof(DirectoryEntry, mFirstFile) == 16 &&
              offsetof(DirectoryEntry, mFileCount) == 20);
static_assert(sizeof(FileEntry) == 36 && offsetof(FileEntry, mDigest) == 8 && offsetof(FileEntry, mVersion) == 24 &&
              offsetof(FileEntry, mSize) == 28 && offsetof(FileEntry, mOpenState) == 32);
static_assert(sizeof(ListingHeader) == 20 && sizeof(HashBucket) == 4 && sizeof(HashSlot) == 8 &&
              sizeof(FileHandleHeader) == 12);

/// Name and parent of an entry of either kind.
inline const ListingEntry &GetListingEntry(const FileEntry *entry)
{
    return *reinterpret_cast<const ListingEntry *>(entry);
}

/// A directory as every interface passes it.
inline const FileEntry *AsFileEntry(const DirectoryEntry *directory)
{
    return reinterpret_cast<const FileEntry *>(directory);
}

/// An entry that is known to be a directory.
inline const DirectoryEntry *AsDirectoryEntry(const FileEntry *entry)
{
    return reinterpret_cast<const DirectoryEntry *>(entry);
}

/// Whether `record` is one of the `count` records from `first` on. Compared as numbers: pointers into different objects
/// have no order.
template <class Record>
bool IsInRegion(const void *record, const Record *first, uint_size count)
{
    const auto address = reinterpret_cast<std::uintptr_t>(record);
    const auto begin = reinterpret_cast<std::uintptr_t>(first);
    return address >= begin && address < begin + count * sizeof(Record);
}

/// Whether an entry lies where its parent's subdirectories do. The root is a directory.
inline bool IsDirectoryEntry(const FileEntry *entry)
{
    const DirectoryEntry *const parent = GetListingEntry(entry).mParent;
    if (parent == nullptr)
    {
        return true;
    }
    const DirectoryEntry *const siblings = parent->mFirstSubdirectory;
    return IsInRegion(entry, siblings, parent->mSubdirectoryCount);
}
} // namespace Keld::MORV::Reader
