#pragma once

#include "KeldMorvIO/listing/ListingRecords.h"
#include "KeldMorvIO/listing/OpenState.h"

namespace Keld::MORV::Reader
{
class ProjectListing;

/// How many elements each region of a listing's block has.
struct ListingCounts
{
    uint32 mDirectoryCount;
    uint32 mFileCount; ///< of the files that are kept; the three counts of the file handle header make up this sum
    uint32 mBucketCount;
    FileHandleHeader mHandles;
    uint32 mStringSize; ///< bytes of the string data
};

/// Where each region of a listing's block begins, in bytes from its start, and the size of the whole. The regions stand
/// in this order, each at the next multiple of its alignment; the owner slot ends where the first directory begins.
struct ListingLayout
{
    uint_size mBuckets;
    uint_size mChain;
    uint_size mOwner;
    uint_size mDirectories;
    uint_size mFiles;
    uint_size mFileHandleHeader;
    uint_size mArchiveFiles;
    uint_size mManagedFiles;
    uint_size mNakedFiles;
    uint_size mStrings; ///< the tail of the block
    uint_size mSize;
};

/// The largest block, in bytes.
inline constexpr uint_size ListingSizeLimit = 0x7FFFFFFF;

/// False when a region or the strings would reach past ListingSizeLimit.
bool ComputeListingLayout(const ListingCounts &counts, ListingLayout &layout);

/// Seven eighths of the entries, rounded up.
constexpr uint32 ComputeBucketCount(uint32 entryCount)
{
    return entryCount - (entryCount >> 3);
}

/// The regions of a block in memory.
struct ListingRegions
{
    ListingRegions(char *block, const ListingLayout &layout);

    ListingHeader *mHeader;
    HashBucket *mBuckets;
    HashSlot *mChain;
    ProjectListing **mOwner;
    DirectoryEntry *mDirectories;
    FileEntry *mFiles;
    FileHandleHeader *mFileHandleHeader;
    ArchivedFileInfo *mArchiveFiles;
    FileInfo *mManagedFiles;
    FileInfo *mNakedFiles;
    char *mStrings;
    const char *mEnd; ///< of the block, and so of the strings
};
} // namespace Keld::MORV::Reader
