#include "KeldMorvIO/listing/ProjectListing.h"

namespace Keld::MORV::Reader
{
ProjectListing::DirectoryIterator::DirectoryIterator(const FileEntry *directory)
    : mDirectory(directory != nullptr && ProjectListing::IsDirectory(directory) ? AsDirectoryEntry(directory)
                                                                                : nullptr),
      mPosition(0)
{
}

bool ProjectListing::DirectoryIterator::IsValid() const
{
    return mDirectory != nullptr && mPosition < mDirectory->mSubdirectoryCount + mDirectory->mFileCount;
}

bool ProjectListing::DirectoryIterator::IsDirectory() const
{
    return IsValid() && mPosition < mDirectory->mSubdirectoryCount;
}

const ProjectListing::FileEntry *ProjectListing::DirectoryIterator::GetEntry() const
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

const char *ProjectListing::DirectoryIterator::GetName() const
{
    const FileEntry *const entry = GetEntry();
    return entry != nullptr ? GetListingEntry(entry).mName : nullptr;
}

bool ProjectListing::DirectoryIterator::Next()
{
    if (!IsValid())
    {
        return false;
    }
    ++mPosition;
    return IsValid();
}
} // namespace Keld::MORV::Reader
