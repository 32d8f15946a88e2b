#include "Tools/TreeReader/ReleaseContents.h"

#include "Tools/TreeReader/TreeError.h"

#include "KeldFoundation/file/ByteView.h"
#include "KeldMorvIO/ReaderTypes.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <deque>
#include <fstream>

namespace Keld::TreeReader
{
namespace
{
using namespace MORV::Reader;

/// The tables of one image, each proven to lie inside it.
class ManifestImage
{
public:
    ManifestImage(const std::string &image, const std::string &name) : mView(image.data(), image.size()), mName(name)
    {
        mHeader = mView.At<ReleaseManifestHeader>(0);
        Require(mHeader != nullptr && mHeader->magic == ReleaseManifestMagic);
        Require(mHeader->version == ReleaseManifestVersion || mHeader->version == ReleaseManifestVersionV0);
        uint_size offset = sizeof(ReleaseManifestHeader);
        mDirectories = mView.Records<DirectoryTableEntry>(offset, mHeader->directoryCount);
        Require(mDirectories != nullptr && mHeader->directoryCount > 0);
        offset += mHeader->directoryCount * sizeof(DirectoryTableEntry);
        LocateFiles(offset);
    }

    ReleaseContents Read() const
    {
        ReleaseContents contents;
        contents.project = String(mHeader->identity.projectNameIndex);
        contents.release = mHeader->identity.releaseVersion;
        contents.formatVersion = mHeader->version;
        uint64 listed = 0;
        std::vector<bool> seen(mHeader->directoryCount);
        std::deque<std::pair<uint32, std::string>> queue{{0, ""}};
        seen[0] = true;
        while (!queue.empty())
        {
            const auto [index, prefix] = queue.front();
            queue.pop_front();
            listed += mDirectories[index].fileCount;
            Require(listed <= mFileCount); // files that many directories share would never end
            ReadFiles(mDirectories[index], prefix, contents);
            for (const uint32 child : Subdirectories(mDirectories[index]))
            {
                Require(!seen[child]);
                seen[child] = true;
                const std::string &name = String(mDirectories[child].nameIndex);
                if (CanBeAskedFor(prefix, name))
                {
                    contents.directories.push_back(prefix + name);
                    queue.emplace_back(child, contents.directories.back() + "/");
                }
            }
        }
        return contents;
    }

private:
    void Require(bool holds) const
    {
        if (!holds)
        {
            throw TreeError(mName + " is no release manifest, or a damaged one: pack the release again");
        }
    }

    void LocateFiles(uint_size offset)
    {
        const Little32 *count = mView.At<Little32>(offset);
        Require(count != nullptr);
        mFileCount = *count;
        mFileOffset = offset + sizeof(Little32);
        mFileStride = mHeader->version == ReleaseManifestVersion ? sizeof(FileTableEntry) : sizeof(FileTableEntryV0);
        const uint64 stringsAt = mFileOffset + uint64{mFileCount} * mFileStride;
        const StringTableHeader *strings = mView.At<StringTableHeader>(stringsAt);
        Require(strings != nullptr);
        const char *data = mView.Records<char>(stringsAt + sizeof(StringTableHeader), strings->dataSize);
        Require(data != nullptr);
        for (uint_size at = 0; at < strings->dataSize;)
        {
            const char *end = static_cast<const char *>(std::memchr(data + at, '\0', strings->dataSize - at));
            if (end == nullptr)
            {
                break;
            }
            mStrings.emplace_back(data + at, end);
            at = static_cast<uint_size>(end - data) + 1;
        }
    }

    const std::string &String(uint32 index) const
    {
        Require(index < mStrings.size());
        return mStrings[index];
    }

    std::vector<uint32> Subdirectories(const DirectoryTableEntry &directory) const
    {
        const uint32 first = directory.firstSubdirectory;
        const uint32 count = directory.subdirectoryCount;
        Require(count == 0 || (first < mHeader->directoryCount && count <= mHeader->directoryCount - first));
        std::vector<uint32> indices(count);
        std::generate(indices.begin(), indices.end(),
                      [next = first]() mutable
                      {
                          return next++;
                      });
        return indices;
    }

    void ReadFiles(const DirectoryTableEntry &directory, const std::string &prefix, ReleaseContents &contents) const
    {
        const uint32 first = directory.firstFile;
        const uint32 count = directory.fileCount;
        Require(count == 0 || (first < mFileCount && count <= mFileCount - first));
        for (uint32 index = 0; index < count; ++index)
        {
            const auto *record = mView.At<FileTableFields>(mFileOffset + (uint_size{first} + index) * mFileStride);
            const std::string &name = String(record->nameIndex);
            if (!CanBeAskedFor(prefix, name))
            {
                continue;
            }
            ReleaseFile &file = contents.files.emplace_back();
            file.path = prefix + name;
            file.version = record->version;
            std::copy(std::begin(record->digest), std::end(record->digest), file.digest.begin());
            file.flags = record->flags;
            file.size = record->size;
        }
    }

    /// Paths grow with each level: without a limit a small damaged file could fill the memory.
    static bool CanBeAskedFor(const std::string &prefix, const std::string &name)
    {
        return prefix.size() + name.size() < PathBufferSize;
    }

    ByteView mView;
    const std::string &mName;
    const ReleaseManifestHeader *mHeader = nullptr;
    const DirectoryTableEntry *mDirectories = nullptr;
    uint32 mFileCount = 0;
    uint_size mFileOffset = 0;
    uint_size mFileStride = 0;
    std::vector<std::string> mStrings;
};
} // namespace

std::string DigestText(const Digest &digest)
{
    constexpr const char *digits = "0123456789abcdef";
    std::string text;
    for (const unsigned char byte : digest)
    {
        text += digits[byte >> 4];
        text += digits[byte & 15];
    }
    return text;
}

ReleaseContents ParseReleaseManifest(const std::string &image, const std::string &name)
{
    return ManifestImage(image, name).Read();
}

ReleaseContents ReadReleaseManifest(const std::filesystem::path &path)
{
    return ParseReleaseManifest(ReadWholeFile(path), path.string());
}

std::string ReadWholeFile(const std::filesystem::path &path)
{
    std::error_code error;
    const std::filesystem::file_status status = std::filesystem::status(path, error);
    if (std::filesystem::exists(status) && !std::filesystem::is_regular_file(status))
    {
        throw TreeError("cannot read " + path.string() + ": it is no regular file"); // and a pipe would not even open
    }
    errno = 0;
    std::ifstream stream(path, std::ios::binary | std::ios::ate);
    const auto size = stream.tellg();
    std::string bytes(size > 0 ? static_cast<uint_size>(size) : 0, '\0');
    stream.seekg(0);
    stream.read(bytes.data(), static_cast<std::streamsize>(bytes.size()));
    if (!stream)
    {
        throw TreeError("cannot read " + path.string() + ": " + (errno != 0 ? std::strerror(errno) : "it ended early"));
    }
    return bytes;
}
} // namespace Keld::TreeReader
