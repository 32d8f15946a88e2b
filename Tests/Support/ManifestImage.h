#pragma once

#include "Support/ByteImage.h"

#include <cstddef>
#include <cstdint>
#include <string>
#include <string_view>
#include <utility>
#include <vector>

namespace Keld::Test
{
/// What a release manifest says of one file, beside its name.
struct ManifestFile
{
    std::uint32_t flags = 0;
    std::uint32_t size = 0;
    std::uint32_t version = 0x01000000; ///< 1.0.0.0
    std::string digest = std::string(16, '\x5A');
    std::string trailing = {}; ///< cut or filled with zeros to what the record version has
};

/// Writes a release manifest word by word, from a list of paths. It does not know the reader's records: offsets and
/// strides are its own statement of the format.
///
/// Children keep the order in which they were added, so that a test can hand the reader an unsorted manifest. Records
/// are numbered breadth-first, the root being directory 0. Every record has a string of its own: string 0 is the root's
/// empty name, string 1 the project's name, then the directories' and then the files' names in record order.
///
/// Any word can be patched: offsets come from the calls below, and what was patched stays in effect when more is added.
class ManifestImage
{
public:
    enum class Record
    {
        V0,     ///< version word 0x10001, file records of 44 bytes
        Current ///< version word 0x10002, file records of 36 bytes
    };

    explicit ManifestImage(std::string project = "atlas", std::uint32_t releaseVersion = 0x01000000,
                           Record record = Record::Current);

    /// Adds a file and the directories above it.
    ManifestImage &File(std::string_view path, ManifestFile file = {});
    ManifestImage &Directory(std::string_view path);
    ManifestImage &RootName(std::string name);

    ManifestImage &Patch(std::size_t offset, std::uint32_t word);

    /// Adds bytes behind the string data.
    ManifestImage &Append(std::string_view bytes);

    std::string Bytes() const;
    std::size_t Size() const { return Bytes().size(); }

    std::uint32_t DirectoryCount() const { return static_cast<std::uint32_t>(Number().directories.size()); }
    std::uint32_t FileCount() const { return static_cast<std::uint32_t>(Number().files.size()); }

    /// The number of a record as it is written; the path must have been added. The root is "".
    std::uint32_t DirectoryIndex(std::string_view path) const;
    std::uint32_t FileIndex(std::string_view path) const;

    // Where things lie, in bytes from the start of the image.
    static constexpr std::size_t MagicOffset = 0;
    static constexpr std::size_t VersionOffset = 4;
    static constexpr std::size_t ProjectNameOffset = 8;
    static constexpr std::size_t ReleaseVersionOffset = 12;
    static constexpr std::size_t DirectoryCountOffset = 16;

    /// Of a directory record: name index 0, first subdirectory 4, their count 8, first file 12, their count 16.
    std::size_t DirectoryOffset(std::uint32_t index) const { return 20 + std::size_t{20} * index; }
    std::size_t DirectoryOffset(std::string_view path) const { return DirectoryOffset(DirectoryIndex(path)); }
    std::size_t FileCountOffset() const { return DirectoryOffset(DirectoryCount()); }

    /// Of a file record: name index 0, version 4, digest 8, flags 24, size 28, trailing bytes 32.
    std::size_t FileOffset(std::uint32_t index) const { return FileCountOffset() + 4 + FileRecordSize() * index; }
    std::size_t FileOffset(std::string_view path) const { return FileOffset(FileIndex(path)); }
    std::size_t StringCountOffset() const { return FileOffset(FileCount()); }
    std::size_t StringDataSizeOffset() const { return StringCountOffset() + 4; }
    std::size_t StringDataOffset() const { return StringCountOffset() + 8; }

    std::size_t FileRecordSize() const { return mRecord == Record::V0 ? 44 : 36; }

private:
    struct Node
    {
        std::string name;
        std::vector<std::size_t> directories; ///< into mNodes
        std::vector<std::pair<std::string, ManifestFile>> files;
    };

    struct NumberedFile
    {
        std::string path;
        const std::pair<std::string, ManifestFile> *file;
    };

    struct NumberedDirectory
    {
        std::string path;
        std::size_t node;
        std::uint32_t firstSubdirectory;
        std::uint32_t firstFile;
    };

    struct Numbering
    {
        std::vector<NumberedDirectory> directories;
        std::vector<NumberedFile> files;
    };

    std::size_t NodeOf(std::string_view path);
    Numbering Number() const;
    std::string Strings(const Numbering &numbering) const;

    std::string mProject;
    std::uint32_t mReleaseVersion;
    Record mRecord;
    std::vector<Node> mNodes;
    std::vector<std::pair<std::size_t, std::uint32_t>> mPatches;
    std::string mAppended;
};
} // namespace Keld::Test
