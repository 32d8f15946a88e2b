#include "KeldMorvIO/listing/DirectoryIterator.h"

namespace Keld::MORV::Reader
{
DirectoryIterator::DirectoryIterator(const FileEntry *directory)
    : mDirectory(directory != nullptr && IsDirectoryEntry(directory) ? AsDirectoryEntry(directory) : nullptr),
      mPosition(0)
{
}

bool DirectoryIterator::IsValid() const
{
    return mDirectory != nullptr && mPosition < mDirectory->mSubdirectoryCount + mDirectory->mFileCount;
}

bool DirectoryIterator::IsDirectory() const
{
    return IsValid() && mPosition < mDirectory->mSubdirectoryCount;
}

const FileEntry *DirectoryIterator::GetEntry() const
{
    if (!IsValid())
    {
        return nullptr;
    }
    if (mPosition < mDirectory->mSubdirectoryCount)
    {
        return AsFileEntry(mDirectory->mFirstSubdirectory + mPosition);
    }
    return mDirectory->mFirstFile + (mPosition - mDirectory->mSubdirectoryCount);
}

const char *DirectoryIterator::GetName() const
{
    const FileEntry *const entry = GetEntry();
    return entry != nullptr ? GetListingEntry(entry).mName : nullptr;
}

bool DirectoryIterator::Next()
{
    if (!IsValid())
    {
        return false;
    }
    ++mPosition;
    return IsValid();
}
} // namespace Keld::MORV::Reader
