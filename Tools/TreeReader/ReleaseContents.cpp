#include "Tools/TreeReader/ReleaseContents.h"

#include "Tools/TreeReader/TreeError.h"

#include "KeldFoundation/file/ByteView.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/listing/LevelOrder.h"
#include "KeldMorvIO/listing/ManifestTables.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <fstream>
#include <optional>
#include <utility>

namespace Keld::TreeReader
{
namespace
{
using namespace MORV::Reader;

// Reads one image, whose tables are proven to lie inside it, and whose records are checked as they are read.
class ManifestImage
{
public:
    ManifestImage(const std::string &image, const std::string &name) : mName(name)
    {
        const ByteView view(image.data(), image.size());
        const auto *header = view.At<ReleaseManifestHeader>(0);
        Require(header != nullptr && header->magic == ReleaseManifestMagic);
        Require(header->version == ReleaseManifestVersion || header->version == ReleaseManifestVersionV0);
        mFormatVersion = header->version;
        const bool isOlder = mFormatVersion == ReleaseManifestVersionV0;
        Require(mTables.Locate(view, isOlder ? sizeof(FileTableEntryV0) : sizeof(FileTableEntry)));
        Require(mTables.GetDirectoryCount() > 0);
        ReadStrings();
    }

    ReleaseContents Read() const
    {
        ReleaseContents contents;
        contents.project = String(mTables.GetProjectNameIndex());
        contents.release = mTables.GetReleaseVersion();
        contents.formatVersion = mFormatVersion;
        uint64 listed = 0;
        std::vector<bool> seen(mTables.GetDirectoryCount());
        seen[0] = true;
        std::vector<std::optional<std::string>> prefixes(mTables.GetDirectoryCount()); // none: too long to be asked for
        prefixes[0] = "";
        std::vector<uint32> order{0};
        WalkLevelOrder(mTables.GetDirectories(), order,
                       [&](uint32 index)
                       {
                           const DirectoryTableEntry &directory = mTables.GetDirectory(index);
                           listed += directory.fileCount;
                           Require(listed <= mTables.GetFileCount()); // files that many directories share never end
                           for (const uint32 child : Subdirectories(directory))
                           {
                               Require(!seen[child]);
                               seen[child] = true;
                           }
                           const std::optional<std::string> prefix = std::exchange(prefixes[index], std::nullopt);
                           if (prefix.has_value())
                           {
                               ReadFiles(directory, *prefix, contents);
                               ReadSubdirectories(directory, *prefix, prefixes, contents);
                           }
                       });
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

    void ReadStrings()
    {
        const char *data = mTables.GetStringData();
        const uint_size size = mTables.GetStringDataSize();
        for (uint_size at = 0; at < size;)
        {
            const char *end = static_cast<const char *>(std::memchr(data + at, '\0', size - at));
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
        Require(count == 0 || (first < mTables.GetDirectoryCount() && count <= mTables.GetDirectoryCount() - first));
        std::vector<uint32> indices(count);
        std::generate(indices.begin(), indices.end(),
                      [next = first]() mutable
                      {
                          return next++;
                      });
        return indices;
    }

    void ReadSubdirectories(const DirectoryTableEntry &directory, const std::string &prefix,
                            std::vector<std::optional<std::string>> &prefixes, ReleaseContents &contents) const
    {
        for (const uint32 child : Subdirectories(directory))
        {
            const std::string &name = String(mTables.GetDirectory(child).nameIndex);
            if (CanBeAskedFor(prefix, name))
            {
                contents.directories.push_back(prefix + name);
                prefixes[child] = contents.directories.back() + "/";
            }
        }
    }

    void ReadFiles(const DirectoryTableEntry &directory, const std::string &prefix, ReleaseContents &contents) const
    {
        const uint32 first = directory.firstFile;
        const uint32 count = directory.fileCount;
        Require(count == 0 || (first < mTables.GetFileCount() && count <= mTables.GetFileCount() - first));
        for (uint32 index = 0; index < count; ++index)
        {
            const FileTableFields &record = mTables.GetFile(first + index);
            const std::string &name = String(record.nameIndex);
            if (!CanBeAskedFor(prefix, name))
            {
                continue;
            }
            ReleaseFile &file = contents.files.emplace_back();
            file.path = prefix + name;
            file.version = record.version;
            std::copy(std::begin(record.digest), std::end(record.digest), file.digest.begin());
            file.flags = record.flags;
            file.size = record.size;
        }
    }

    // Paths grow with each level: without a limit a small damaged file could fill the memory.
    static bool CanBeAskedFor(const std::string &prefix, const std::string &name)
    {
        return prefix.size() + name.size() < PathBufferSize;
    }

    const std::string &mName;
    ManifestTables mTables;
    uint32 mFormatVersion = 0;
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
