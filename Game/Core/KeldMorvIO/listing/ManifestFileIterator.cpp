#include "KeldMorvIO/listing/ManifestFileIterator.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/listing/LevelOrder.h"

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

ManifestFileIterator::ManifestFileIterator(const ManifestTables &manifest, std::vector<uint32> &parents,
                                           uint_size prefixBudget)
    : mManifest(manifest), mParents(parents), mOrder{0}, mPrefixes(manifest.GetDirectoryCount()),
      mKeptPrefixes(prefixBudget)
{
    mParents.assign(uint_size{mManifest.GetDirectoryCount()} + mManifest.GetFileCount(), 0);
    WalkLevelOrder(mManifest.GetDirectories(), mOrder, [](uint32) {});
    EnterNextDirectory();
}

void ManifestFileIterator::Next()
{
    ++mPosition;
    if (mPosition < uint64{mDirectory->subdirectoryCount} + mDirectory->fileCount)
    {
        LoadEntry();
        return;
    }
    EnterNextDirectory();
}

const std::string &ManifestFileIterator::GetPath()
{
    MakePrefix();
    mPath.resize(mPrefixes[mDirectoryIndex].length);
    Append(mName);
    return mPath;
}

uint32 ManifestFileIterator::GetPathHash() const
{
    const bool isWhole = mPath.size() < ManifestPathLimit;
    return isWhole ? HashName(mPrefixes[mDirectoryIndex].hash, mName) : HashName(mPath.c_str());
}

uint32 ManifestFileIterator::GetFileIndex() const
{
    return mDirectory->firstFile + (mPosition - mDirectory->subdirectoryCount);
}

// Passes over directories without children; the walk ends behind the last of the others.
void ManifestFileIterator::EnterNextDirectory()
{
    mDirectory = nullptr;
    mFile = nullptr;
    for (; mDirectory == nullptr && mNextDirectory < mOrder.size(); ++mNextDirectory)
    {
        mDirectoryIndex = mOrder[mNextDirectory];
        const DirectoryTableEntry &directory = mManifest.GetDirectory(mDirectoryIndex);
        mDirectory = HasChildren(directory) ? &directory : nullptr;
    }
    if (mDirectory != nullptr)
    {
        mPosition = 0;
        mHasPrefix = mKeptPrefixes.Pop(mDirectoryIndex, mPath);
        if (mHasPrefix)
        {
            mMadePrefixes.clear();
        }
        LoadEntry();
    }
}

void ManifestFileIterator::LoadEntry()
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

void ManifestFileIterator::LoadSubdirectory(uint32 index)
{
    const DirectoryTableEntry &subdirectory = mManifest.GetDirectory(index);
    mName = mManifest.GetString(subdirectory.nameIndex);
    mFile = nullptr;
    mParents[index] = mDirectoryIndex;
    mPrefixes[index] = PrefixBelow(index);
    if (HasChildren(subdirectory))
    {
        KeepPrefix(index);
    }
}

void ManifestFileIterator::LoadFile(uint32 index)
{
    mFile = &mManifest.GetFile(index);
    mName = mManifest.GetString(mFile->nameIndex);
    mParents[uint_size{mManifest.GetDirectoryCount()} + index] = mDirectoryIndex;
}

// The prefix of the current subdirectory's children.
auto ManifestFileIterator::PrefixBelow(uint32 subdirectory) const -> Prefix
{
    const Prefix &prefix = mPrefixes[mDirectoryIndex];
    const uint32 room = ManifestPathLimit - prefix.length;
    if (room == 0)
    {
        return prefix;
    }
    const auto nameLength = static_cast<uint32>(std_strnlen(mName, room));
    const uint32 length = prefix.length + std::min(nameLength + 1, room);
    const bool goesOn = length < ManifestPathLimit;
    return {subdirectory, prefix.depth + 1, length, goesOn ? HashName(HashName(prefix.hash, mName), "/") : 0};
}

// Paths that fill the limit are no one's on disk, and not worth the room.
void ManifestFileIterator::KeepPrefix(uint32 subdirectory)
{
    const uint32 length = mPrefixes[subdirectory].length;
    if (length < ManifestPathLimit && mKeptPrefixes.HasRoom(length))
    {
        MakePrefix();
        mKeptPrefixes.Push(subdirectory, std::string_view(mPath).substr(0, mPrefixes[mDirectoryIndex].length), mName);
    }
}

// Makes the text from the parents' names where it was not kept, and keeps what it shares with the last one so made.
void ManifestFileIterator::MakePrefix()
{
    if (mHasPrefix)
    {
        return;
    }
    mHasPrefix = true;
    std::vector<uint32> added;
    const Prefix &prefix = mPrefixes[mDirectoryIndex];
    uint32 depth = prefix.depth;
    for (uint32 directory = prefix.directory; depth != 0; directory = mParents[directory], --depth)
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
        mMadePrefixes.push_back({*directory, depth, static_cast<uint32>(mPath.size()), 0});
    }
}

void ManifestFileIterator::Append(const char *text)
{
    mPath.append(text, std_strnlen(text, ManifestPathLimit - mPath.size()));
}
} // namespace Keld::MORV::Reader
