#include "KeldMorvIO/listing/ManifestFileIterator.h"

namespace Keld::MORV::Reader
{
namespace
{
bool HasChildren(const DirectoryTableEntry &directory)
{
    return directory.subdirectoryCount != 0 || directory.fileCount != 0;
}
} // namespace

template <class EntryType>
ManifestFileIterator<EntryType>::ManifestFileIterator(const ReleaseManifestTemplate<EntryType> &manifest,
                                                      std::vector<uint32> &parents)
    : mManifest(manifest), mParents(parents)
{
    mParents.assign(uint_size{mManifest.GetDirectoryCount()} + mManifest.GetFileCount(), 0);
    if (HasChildren(mManifest.GetDirectory(0)))
    {
        EnterDirectory(0);
    }
}

template <class EntryType>
void ManifestFileIterator<EntryType>::Next()
{
    ++mPosition;
    if (mPosition < uint64{mDirectory->subdirectoryCount} + mDirectory->fileCount)
    {
        LoadEntry();
        return;
    }
    mDirectory = nullptr;
    mFile = nullptr;
    if (!mQueue.empty())
    {
        const uint32 index = mQueue.front();
        mQueue.pop();
        EnterDirectory(index);
    }
}

template <class EntryType>
uint32 ManifestFileIterator<EntryType>::GetFileIndex() const
{
    return mDirectory->firstFile + (mPosition - mDirectory->subdirectoryCount);
}

/// The path is made from the parents when the directory's turn comes. The directories that wait would otherwise hold
/// the text of all their paths, which grows with the square of the manifest.
template <class EntryType>
void ManifestFileIterator<EntryType>::EnterDirectory(uint32 index)
{
    mDirectoryIndex = index;
    mDirectory = &mManifest.GetDirectory(index);
    mPosition = 0;

    std::vector<uint32> ancestors;
    for (uint32 directory = index; directory != 0; directory = mParents[directory])
    {
        ancestors.push_back(directory);
    }
    mPath.clear();
    for (auto ancestor = ancestors.rbegin(); ancestor != ancestors.rend(); ++ancestor)
    {
        mPath += mManifest.GetString(mManifest.GetDirectory(*ancestor).nameIndex);
        mPath += '/';
    }
    mPrefixLength = mPath.size();
    LoadEntry();
}

template <class EntryType>
void ManifestFileIterator<EntryType>::LoadEntry()
{
    mPath.resize(mPrefixLength);
    if (mPosition < mDirectory->subdirectoryCount)
    {
        LoadSubdirectory(mDirectory->firstSubdirectory + mPosition);
    }
    else
    {
        LoadFile(GetFileIndex());
    }
}

template <class EntryType>
void ManifestFileIterator<EntryType>::LoadSubdirectory(uint32 index)
{
    const DirectoryTableEntry &subdirectory = mManifest.GetDirectory(index);
    mPath += mManifest.GetString(subdirectory.nameIndex);
    mFile = nullptr;
    mParents[index] = mDirectoryIndex;
    if (HasChildren(subdirectory))
    {
        mQueue.push(index);
    }
}

template <class EntryType>
void ManifestFileIterator<EntryType>::LoadFile(uint32 index)
{
    mFile = &mManifest.GetFile(index);
    mPath += mManifest.GetString(mFile->nameIndex);
    mParents[uint_size{mManifest.GetDirectoryCount()} + index] = mDirectoryIndex;
}

template class ManifestFileIterator<FileTableEntry>;
template class ManifestFileIterator<FileTableEntryV0>;
} // namespace Keld::MORV::Reader
