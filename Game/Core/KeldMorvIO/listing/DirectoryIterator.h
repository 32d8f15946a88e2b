#pragma once

#include "KeldMorvIO/listing/ListingRecords.h"

namespace Keld::MORV::Reader
{
/// Walks one directory's children: subdirectories first, then files, both ascending without regard to case. A plain
/// value, private to its user; stepping takes no lock. Inline, since an enumeration is little else.
class DirectoryIterator
{
public:
    /// Stands on the first child. Empty for null and for a file.
    explicit DirectoryIterator(const FileEntry *directory)
        : mDirectory(directory != nullptr && IsDirectoryEntry(directory) ? AsDirectoryEntry(directory) : nullptr),
          mPosition(0)
    {
    }

    bool IsValid() const
    {
        return mDirectory != nullptr && mPosition < mDirectory->mSubdirectoryCount + mDirectory->mFileCount;
    }

    bool IsDirectory() const { return IsValid() && mPosition < mDirectory->mSubdirectoryCount; }

    /// The current child, or its name; null when not valid.
    const FileEntry *GetEntry() const
    {
        if (!IsValid())
        {
            return nullptr;
        }
        if (mPosition < mDirectory->mSubdirectoryCount)
        {
            return AsFileEntry(mDirectory->mFirstSubdirectory.Get() + mPosition);
        }
        return mDirectory->mFirstFile.Get() + (mPosition - mDirectory->mSubdirectoryCount);
    }

    const char *GetName() const
    {
        const FileEntry *const entry = GetEntry();
        return entry != nullptr ? GetListingEntry(entry).mName.Get() : nullptr;
    }

    /// Steps, and tells whether the iterator is still valid. An invalid one stays as it is.
    bool Next()
    {
        if (!IsValid())
        {
            return false;
        }
        ++mPosition;
        return IsValid();
    }

private:
    const DirectoryEntry *mDirectory;
    uint32 mPosition;
};
static_assert(std::is_trivially_copyable_v<DirectoryIterator>);
} // namespace Keld::MORV::Reader
