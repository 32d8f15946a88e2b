#include "KeldMorvIO/listing/ManifestFileIterator.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/archive/PathHash.h"
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

ManifestFileIterator::ManifestFileIterator(const ManifestTables &manifest, LargeVector<uint32> &parents,
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

uint32 ManifestFileIterator::GetPathHash()
{
    if (mFile == nullptr)
    {
        return HashPath(mName);
    }
    if (!HasPathHash())
    {
        MakePathHashes();
    }
    return mPathHashes[mPosition - mFirstHashed];
}

void ManifestFileIterator::MakePathHashes()
{
    const uint32 remaining = mDirectory->subdirectoryCount + mDirectory->fileCount - mPosition;
    mFirstHashed = mPosition;
    mHashedCount = std::min(remaining, static_cast<uint32>(mPathHashes.size()));
    for (uint32 index = 0; index < mHashedCount; ++index)
    {
        mPathHashes[index] = HashPath(GetFileName(mPosition + index));
    }
    mWholeHashes.fill(0);
}

std::span<const uint32> ManifestFileIterator::MakeWholePathHashes()
{
    MakePathHashes();
    MakePrefix();
    const uint64 prefixHash = HashPathPart(mPath.data(), mPrefixes[mDirectoryIndex].length);
    for (uint32 index = 0; index < mHashedCount; ++index)
    {
        mWholeHashes[index] = HashWhole(prefixHash, GetFileName(mPosition + index));
    }
    return {mWholeHashes.data(), mHashedCount};
}

// Names with separators in them, and paths that are cut off, do not end in the name alone.
uint32 ManifestFileIterator::HashWhole(uint64 prefixHash, const char *name) const
{
    const uint32 room = ManifestPathLimit - mPrefixes[mDirectoryIndex].length;
    const uint_size length = std_strnlen(name, room);
    const bool isUsual = length < room && std_memchr(name, '/', length) == nullptr;
    return isUsual ? JoinPathHashes(prefixHash, HashPathPart(name, length)) : 0;
}

// The name of the file at a position of the current directory.
const char *ManifestFileIterator::GetFileName(uint32 position) const
{
    const uint32 file = mDirectory->firstFile + (position - mDirectory->subdirectoryCount);
    return mManifest.GetString(mManifest.GetFile(file).nameIndex);
}

// Of an entry of the current directory.
uint32 ManifestFileIterator::HashPath(const char *name) const
{
    const Prefix &prefix = mPrefixes[mDirectoryIndex];
    return HashName(prefix.hash, name, ManifestPathLimit - prefix.length).hash;
}

uint32 ManifestFileIterator::GetFileIndex() const
{
    return mDirectory->firstFile + (mPosition - mDirectory->subdirectoryCount);
}

// Passes over directories without children; the walk ends behind the last of the others.
void ManifestFileIterator::EnterNextDirectory()
{
    if (mHasPrefix)
    {
        KeepPrefixes();
    }
    mHasPrefix = false;
    mHashedCount = 0;
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
    const auto [hash, nameLength] = HashName(prefix.hash, mName, room);
    const bool isFilled = nameLength == room;
    const uint32 length = isFilled ? ManifestPathLimit : prefix.length + static_cast<uint32>(nameLength) + 1;
    return {subdirectory, prefix.depth + 1, length, isFilled ? hash : HashName(hash, "/")};
}

// Where a text was made for this directory, it serves those below too. The last of them takes it over as it stands: in
// a chain of directories each adds no more than its name.
void ManifestFileIterator::KeepPrefixes()
{
    const uint32 lastParent = GetLastParent();
    for (uint32 position = 0; position < mDirectory->subdirectoryCount; ++position)
    {
        const uint32 child = mDirectory->firstSubdirectory + position;
        const DirectoryTableEntry &subdirectory = mManifest.GetDirectory(child);
        if (!HasChildren(subdirectory) || !mKeptPrefixes.HasRoom(mPrefixes[child].length))
        {
            continue;
        }
        mPath.resize(mPrefixes[mDirectoryIndex].length);
        const bool isLast = child == lastParent;
        std::string outer = isLast ? std::string() : mPath;
        Append(mManifest.GetString(subdirectory.nameIndex));
        Append("/");
        mKeptPrefixes.Push(child, std::move(mPath));
        mPath = std::move(outer);
        if (isLast)
        {
            mMadePrefixes.clear();
        }
    }
}

// The last subdirectory of the current directory that has children, or the root, which is none, when there is none.
uint32 ManifestFileIterator::GetLastParent() const
{
    for (uint32 position = mDirectory->subdirectoryCount; position != 0; --position)
    {
        const uint32 child = mDirectory->firstSubdirectory + position - 1;
        if (HasChildren(mManifest.GetDirectory(child)))
        {
            return child;
        }
    }
    return 0;
}

// Makes the text from the parents' names where it was not kept, and keeps what it shares with the last one so made.
void ManifestFileIterator::MakePrefix()
{
    if (mHasPrefix)
    {
        return;
    }
    mHasPrefix = true;
    std::vector<uint32> &added = mUnmadePrefixes;
    added.clear();
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
