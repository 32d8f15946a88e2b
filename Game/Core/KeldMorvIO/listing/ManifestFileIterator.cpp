#include "KeldMorvIO/listing/ManifestFileIterator.h"

#include "KeldFoundation/CStd/CStd.h"

#include <algorithm>

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
        EnterDirectory({mPrefix, 0});
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
        const QueuedDirectory directory = mQueue.front();
        mQueue.pop();
        EnterDirectory(directory);
    }
}

template <class EntryType>
const std::string &ManifestFileIterator<EntryType>::GetPath()
{
    MakePrefix();
    Append(mName);
    return mPath;
}

template <class EntryType>
uint32 ManifestFileIterator<EntryType>::GetFileIndex() const
{
    return mDirectory->firstFile + (mPosition - mDirectory->subdirectoryCount);
}

template <class EntryType>
void ManifestFileIterator<EntryType>::EnterDirectory(const QueuedDirectory &directory)
{
    mDirectoryIndex = directory.index;
    mDirectory = &mManifest.GetDirectory(directory.index);
    mPrefix = directory.prefix;
    mPosition = 0;
    LoadEntry();
}

template <class EntryType>
void ManifestFileIterator<EntryType>::LoadEntry()
{
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
    mName = mManifest.GetString(subdirectory.nameIndex);
    mFile = nullptr;
    mParents[index] = mDirectoryIndex;
    if (HasChildren(subdirectory))
    {
        mQueue.push({PrefixBelow(index), index});
    }
}

template <class EntryType>
void ManifestFileIterator<EntryType>::LoadFile(uint32 index)
{
    mFile = &mManifest.GetFile(index);
    mName = mManifest.GetString(mFile->nameIndex);
    mParents[uint_size{mManifest.GetDirectoryCount()} + index] = mDirectoryIndex;
}

/// Of the current subdirectory's children.
template <class EntryType>
auto ManifestFileIterator<EntryType>::PrefixBelow(uint32 subdirectory) const -> Prefix
{
    const uint32 room = ManifestPathLimit - mPrefix.length;
    if (room == 0)
    {
        return mPrefix;
    }
    const auto nameLength = static_cast<uint32>(std_strnlen(mName, room));
    return {subdirectory, mPrefix.depth + 1, mPrefix.length + std::min(nameLength + 1, room)};
}

/// The text is made from the parents when it is asked for: the directories that wait would otherwise hold the text of
/// all their paths. What it has in common with the last one stays.
template <class EntryType>
void ManifestFileIterator<EntryType>::MakePrefix()
{
    std::vector<uint32> added;
    uint32 depth = mPrefix.depth;
    for (uint32 directory = mPrefix.directory; depth != 0; directory = mParents[directory], --depth)
    {
        if (depth <= mMadePrefixes.size() && mMadePrefixes[depth - 1].directory == directory)
        {
            break;
        }
        added.push_back(directory);
    }
    mMadePrefixes.resize(depth);
    mPath.resize(depth != 0 ? mMadePrefixes.back().length : 0);
    for (auto directory = added.rbegin(); directory != added.rend(); ++directory)
    {
        Append(mManifest.GetString(mManifest.GetDirectory(*directory).nameIndex));
        Append("/");
        ++depth;
        mMadePrefixes.push_back({*directory, depth, static_cast<uint32>(mPath.size())});
    }
}

template <class EntryType>
void ManifestFileIterator<EntryType>::Append(const char *text)
{
    mPath.append(text, std_strnlen(text, ManifestPathLimit - mPath.size()));
}

template class ManifestFileIterator<FileTableEntry>;
template class ManifestFileIterator<FileTableEntryV0>;
} // namespace Keld::MORV::Reader
