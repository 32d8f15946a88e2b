#include "KeldMorvIO/listing/ListingLayout.h"

namespace Keld::MORV::Reader
{
namespace
{
// Places one region behind the other. Counts have 32 bits and records are small, so no sum wraps before it is compared
// with the limit.
class RegionCursor
{
public:
    // Gives the start of the region.
    template <class Record>
    uint_size Place(uint_size count)
    {
        const uint_size start = (mOffset + alignof(Record) - 1) / alignof(Record) * alignof(Record);
        // A region of pointers is as wide as they are. NOLINTNEXTLINE(bugprone-sizeof-expression)
        mOffset = start + count * sizeof(Record);
        mFits = mFits && mOffset <= ListingSizeLimit;
        return start;
    }

    uint_size GetOffset() const { return mOffset; }
    bool Fits() const { return mFits; }

private:
    uint_size mOffset = 0;
    bool mFits = true;
};

template <class Record>
Record *At(char *block, uint_size offset)
{
    return reinterpret_cast<Record *>(static_cast<void *>(block + offset));
}
} // namespace

// GetOwner steps back from the root by one slot, so nothing may stand between the owner slot and the directories.
static_assert(alignof(ProjectListing *) % alignof(DirectoryEntry) == 0);

bool ComputeListingLayout(const ListingCounts &counts, ListingLayout &layout)
{
    RegionCursor cursor;
    cursor.Place<ListingHeader>(1);
    layout.mBuckets = cursor.Place<HashBucket>(uint_size{counts.mBucketCount} + 1);
    layout.mChain = cursor.Place<HashSlot>(uint_size{counts.mDirectoryCount} + counts.mFileCount);
    layout.mOwner = cursor.Place<ProjectListing *>(1);
    layout.mDirectories = cursor.Place<DirectoryEntry>(counts.mDirectoryCount);
    layout.mFiles = cursor.Place<FileEntry>(counts.mFileCount);
    layout.mFileHandleHeader = cursor.Place<FileHandleHeader>(1);
    layout.mArchiveFiles = cursor.Place<ArchivedFileInfo>(counts.mHandles.mArchivedCount);
    layout.mManagedFiles = cursor.Place<FileInfo>(counts.mHandles.mManagedCount);
    layout.mNakedFiles = cursor.Place<FileInfo>(counts.mHandles.mNakedCount);
    layout.mStrings = cursor.Place<char>(counts.mStringSize);
    layout.mSize = cursor.GetOffset();
    return cursor.Fits();
}

ListingRegions::ListingRegions(char *block, const ListingLayout &layout)
    : mHeader(At<ListingHeader>(block, 0)), mBuckets(At<HashBucket>(block, layout.mBuckets)),
      mChain(At<HashSlot>(block, layout.mChain)), mOwner(At<ProjectListing *>(block, layout.mOwner)),
      mDirectories(At<DirectoryEntry>(block, layout.mDirectories)), mFiles(At<FileEntry>(block, layout.mFiles)),
      mFileHandleHeader(At<FileHandleHeader>(block, layout.mFileHandleHeader)),
      mArchiveFiles(At<ArchivedFileInfo>(block, layout.mArchiveFiles)),
      mManagedFiles(At<FileInfo>(block, layout.mManagedFiles)), mNakedFiles(At<FileInfo>(block, layout.mNakedFiles)),
      mStrings(block + layout.mStrings), mEnd(block + layout.mSize)
{
}
} // namespace Keld::MORV::Reader
