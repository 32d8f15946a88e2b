#include "KeldMorvIO/archive/ArchiveFile.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/blocks/WholeFile.h"

// The index is one allocation and is searched where it lies: no object is built for a record, no text copied for a
// lookup. A damaged index must not reach outside its bytes, so Read checks once everything that a lookup will touch,
// and takes a file that fails the check for one of another format.
namespace Keld::MORV::Reader
{
namespace
{
bool IsArchive(const ByteView &image)
{
    const auto *const header = image.At<ArchiveHeader>(0);
    return header != nullptr && header->magic == ArchiveMagic && header->version == ArchiveVersion;
}

/// Whether every path of the list begins and ends inside the file.
bool PathsEndInside(const ByteView &image, uint_size listOffset, const ArchivePathEntry *paths, uint32 count)
{
    const uint_size textEnd = image.TextEnd();
    for (uint32 index = 0; index < count; ++index)
    {
        if (listOffset + paths[index].stringOffset >= textEnd)
        {
            return false;
        }
    }
    return true;
}

/// The text of path `index`, or null when the list has no such path. `list` reaches from the path list to the end of
/// the file, since texts lie behind it at offsets from its start. Read has checked once that each text ends there; a
/// check at each lookup could cost the length of the file each time.
const char *GetPathByIndex(const ByteView &list, uint32 index)
{
    const auto *const head = list.At<ArchivePathList>(0);
    if (head == nullptr || index >= head->count)
    {
        return nullptr;
    }
    const auto *const path = list.At<ArchivePathEntry>(sizeof *head + uint_size{index} * sizeof(ArchivePathEntry));
    return path != nullptr ? list.At<char>(path->stringOffset) : nullptr;
}
} // namespace

ArchiveFile::ArchiveFile(const std::string &filename, const std::string &rootDirectory, unsigned char value)
    : mFilename(filename), mRootDirectory(rootDirectory)
{
    constexpr const char *signature = "Keld::MORV::Reader::ArchiveFile::ArchiveFile(const std::string &, "
                                      "const std::string &, unsigned char)";
    LogTrace("%s: (%s, %s, %d)", signature, filename.c_str(), rootDirectory.c_str(), value);
}

bool ArchiveFile::Read(bool *invalid)
{
    constexpr const char *signature = "bool Keld::MORV::Reader::ArchiveFile::Read(bool *)";
    LogTrace("%s: () [this->mFilename = %s]", signature, mFilename.c_str());
    return Read(mRootDirectory, invalid);
}

bool ArchiveFile::Read(const std::string &directory, bool *invalid)
{
    constexpr const char *signature = "bool Keld::MORV::Reader::ArchiveFile::Read(const std::string &, bool *)";
    LogTrace("%s: (%s) [this->mFilename = %s]", signature, directory.c_str(), mFilename.c_str());
    mReadAttempted = true;
    ClearViews();

    const std::string path = (directory.empty() ? "." : directory) + "/" + mFilename;
    if (ReadFileIntoBuffer(path, mBuffer) < 0)
    {
        LogError("%s: Failed to read our archive directory", signature);
        return false;
    }
    if (!IndexBuffer())
    {
        LogError("%s: Incorrect magic value or version, invalid archive %s", signature, path.c_str());
        if (invalid != nullptr)
        {
            *invalid = true;
        }
        return false;
    }
    return true;
}

bool ArchiveFile::Adopt(LargeVector<char> &image)
{
    ClearViews();
    mBuffer.swap(image);
    return IndexBuffer();
}

/// Makes the buffer searchable, if it is an archive index.
bool ArchiveFile::IndexBuffer()
{
    if (!SetViews())
    {
        return false;
    }
    const uint32 count = GetEntryCount();
    for (uint32 index = 0; index < count; ++index)
    {
        mTotalSize += mEntries[index].size;
    }
    mHashIndex.Build(mEntries, count);
    return true;
}

void ArchiveFile::ClearViews()
{
    mHeader = nullptr;
    mHeaderField = nullptr;
    mFileList = nullptr;
    mEntries = nullptr;
    mPathList = nullptr;
    mHashIndex.Build(nullptr, 0);
}

// Sets all views or none.
bool ArchiveFile::SetViews()
{
    const ByteView image(mBuffer.data(), mBuffer.size());
    if (!IsArchive(image))
    {
        return false;
    }
    const auto *const header = image.At<ArchiveHeader>(0);
    const uint_size fileListOffset = header->fileListOffset;
    const uint_size pathListOffset = header->pathListOffset;
    const auto *const fileList = image.At<Little32>(fileListOffset);
    const auto *const pathList = image.At<ArchivePathList>(pathListOffset);
    if (fileList == nullptr || pathList == nullptr)
    {
        return false;
    }
    const auto *const entries = image.Records<ArchiveFileEntry>(fileListOffset + sizeof *fileList, *fileList);
    const auto *const paths = image.Records<ArchivePathEntry>(pathListOffset + sizeof *pathList, pathList->count);
    if (entries == nullptr || paths == nullptr || !PathsEndInside(image, pathListOffset, paths, pathList->count))
    {
        return false;
    }
    mHeader = header;
    mHeaderField = &header->reserved;
    mFileList = fileList;
    mEntries = entries;
    mPathList = pathList;
    return true;
}

bool ArchiveFile::SetRootDirectory(const std::string &directory)
{
    constexpr const char *signature = "bool Keld::MORV::Reader::ArchiveFile::SetRootDirectory(const std::string &)";
    LogTrace("%s: (%s), this->mFilename = %s", signature, directory.c_str(), mFilename.c_str());
    mRootDirectory = directory;
    return true;
}

bool ArchiveFile::Find(const std::string &name) const
{
    constexpr const char *signature = "bool Keld::MORV::Reader::ArchiveFile::Find(const std::string &) const";
    LogTrace("%s: (%s) [this->mFilename = %s]", signature, name.c_str(), mFilename.c_str());
    return FindEntryIndex(HashName(name.c_str()), name.c_str()) >= 0;
}

bool ArchiveFile::Search(const std::string &name, uint32 &offset, uint32 &size) const
{
    return Search(name, HashName(name.c_str()), offset, size);
}

bool ArchiveFile::Search(const std::string &name, uint32 hash, uint32 &offset, uint32 &size) const
{
    constexpr const char *signature =
        "bool Keld::MORV::Reader::ArchiveFile::Search(const std::string &, uint32 &, uint32 &) const";
    LogTrace("%s: (%s) [this->mFilename = %s]", signature, name.c_str(), mFilename.c_str());
    if (name.empty())
    {
        LogError("%s: Empty file name", signature);
        offset = 0;
        size = 0;
        return false;
    }
    const int32 index = FindEntryIndex(hash, name.c_str());
    return index >= 0 && GetRange(static_cast<uint32>(index), offset, size);
}

bool ArchiveFile::Search(ArchivePath &path, uint32 hash, uint32 &offset, uint32 &size) const
{
    const HashIndex::Range range = mHashIndex.Find(hash);
    if (range.first == range.end)
    {
        return false;
    }
    const ArchiveFileEntry &first = mEntries[range.first];
    const bool isAnyName = first.hash == hash && first.pathIndex == ArchivePathOfSearchedName;
    const int32 index = range.end - range.first == 1 && isAnyName ? static_cast<int32>(range.first)
                                                                  : FindInRange(range, hash, path.GetPath().c_str());
    return index >= 0 && GetRange(static_cast<uint32>(index), offset, size);
}

bool ArchiveFile::HasPath(uint32 index, const char *name) const
{
    return CompareEntry(mEntries[index], mEntries[index].hash, name) == 0;
}

bool ArchiveFile::GetRange(uint32 index, uint32 &offset, uint32 &size) const
{
    const ArchiveFileEntry &entry = mEntries[index];
    offset = entry.dataOffset;
    size = entry.size;
    return mTotalSize != 0; // the outputs are set all the same
}

void ArchiveFile::FetchPathEntry(uint32 index) const
{
    __builtin_prefetch(reinterpret_cast<const ArchivePathEntry *>(mPathList + 1) + mEntries[index].pathIndex);
}

void ArchiveFile::GetContents(std::vector<std::string> &paths) const
{
    constexpr const char *signature =
        "void Keld::MORV::Reader::ArchiveFile::GetContents(std::vector<std::string> &) const";
    LogTrace("%s: () [this->mFilename = %s]", signature, mFilename.c_str());
    const uint32 count = GetEntryCount();
    for (uint32 index = 0; index < count; ++index)
    {
        const char *const path = GetEntryPath(index);
        // Both are faults of the data: a record without a path, and a path that fits no caller's buffer. Many records
        // may share one huge path, and copies of it would fill the memory.
        if (path != nullptr && std_strnlen(path, PathBufferSize) < PathBufferSize)
        {
            paths.emplace_back(path);
        }
    }
}

const char *ArchiveFile::GetEntryPath(uint32 index) const
{
    return GetPathByIndex(GetPathListView(), mEntries[index].pathIndex);
}

uint32 ArchiveFile::GetEntryCount() const
{
    return mFileList != nullptr ? uint32{*mFileList} : 0;
}

uint32 ArchiveFile::GetPathCount() const
{
    return mPathList != nullptr ? uint32{mPathList->count} : 0;
}

ByteView ArchiveFile::GetPathListView() const
{
    if (mPathList == nullptr)
    {
        return ByteView();
    }
    const uint_size offset = mHeader->pathListOffset;
    return ByteView(mBuffer.data() + offset, mBuffer.size() - offset);
}

// Negative, 0 or positive when the record stands before, at or behind the key. With one comparison of three answers a
// record without a path stands behind every name of its hash; with two questions of "less" it would equal them all.
int ArchiveFile::CompareEntry(const ArchiveFileEntry &entry, uint32 hash, const char *name) const
{
    const uint32 entryHash = entry.hash;
    if (entryHash != hash)
    {
        return entryHash < hash ? -1 : 1;
    }
    const uint32 pathIndex = entry.pathIndex;
    if (pathIndex == ArchivePathOfSearchedName)
    {
        return 0;
    }
    const char *const path = GetPathByIndex(GetPathListView(), pathIndex);
    const bool isSpelledAlike = path != nullptr && name != nullptr && std_strcmp(path, name) == 0; // as it mostly is
    return isSpelledAlike ? 0 : std_stricmp(path, name);
}

// Where a binary search over all records ends that looks for the first one not before the key. All records of the hash
// lie in the range, in whatever order of their names. On which side of the key another record lies is known without a
// look at it, so that the steps of the search outside the range cost nothing.
uint32 ArchiveFile::FindNotBefore(const HashIndex::Range &range, uint32 hash, const char *name) const
{
    uint32 first = 0;
    uint32 end = GetEntryCount();
    while (first < end)
    {
        const uint32 middle = first + (end - first) / 2;
        const bool isBefore =
            middle < range.first || (middle < range.end && CompareEntry(mEntries[middle], hash, name) < 0);
        first = isBefore ? middle + 1 : first;
        end = isBefore ? end : middle;
    }
    return first;
}

int32 ArchiveFile::FindEntryIndex(uint32 hash, const char *name) const
{
    return FindInRange(mHashIndex.Find(hash), hash, name);
}

int32 ArchiveFile::FindInRange(const HashIndex::Range &range, uint32 hash, const char *name) const
{
    const uint32 index = range.end - range.first > 1 ? FindNotBefore(range, hash, name) : range.first;
    // Without order in the index the search may end at any record, so it is compared with the key once more.
    const bool found = index < range.end && CompareEntry(mEntries[index], hash, name) == 0;
    return found ? static_cast<int32>(index) : -1;
}
} // namespace Keld::MORV::Reader
