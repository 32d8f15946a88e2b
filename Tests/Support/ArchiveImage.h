#pragma once

#include "Support/ByteImage.h"

#include <algorithm>
#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

#include <strings.h>

namespace Keld::Test
{
/// The hash of an archive index, in its textbook form, over bytes taken as signed.
inline std::uint32_t ArchiveHash(std::string_view text)
{
    std::uint32_t hash = 0;
    for (const char character : text)
    {
        const char folded = character >= 'A' && character <= 'Z' ? static_cast<char>(character + 32) : character;
        hash = (hash << 4) + static_cast<std::uint32_t>(static_cast<std::int32_t>(static_cast<signed char>(folded)));
        const std::uint32_t top = hash & 0xF0000000u;
        if (top != 0)
        {
            hash = (hash ^ top) ^ (top >> 24);
        }
    }
    return hash;
}

/// Writes an archive index word by word. It does not know the reader's records: offsets and strides are its own
/// statement of the format. Files are put in order by hash and then by name; their paths keep the order of adding.
///
///     header at 0, file list behind it at 20, path list behind that, texts behind that
class ArchiveImage
{
public:
    /// Adds a file whose stored form has `size` bytes from `dataOffset` of the data file on.
    ArchiveImage &File(std::string path, std::uint32_t dataOffset, std::uint32_t size)
    {
        const auto pathIndex = static_cast<std::uint32_t>(mPaths.size());
        mRecords.push_back({ArchiveHash(path), dataOffset, size, pathIndex, path});
        mPaths.push_back(std::move(path));
        return *this;
    }

    /// The index, ready to be patched by offset.
    ByteImage Image() const
    {
        ByteImage image;
        image.Word(0, 0x18BE0EF0).Word(4, 1).Word(8, 0).Word(12, FileListOffset);
        image.Word(16, static_cast<std::uint32_t>(PathListOffset()));
        image.Word(FileListOffset, static_cast<std::uint32_t>(mRecords.size()));
        WriteRecords(image);
        WritePaths(image);
        return image;
    }

    std::string Bytes() const { return Image().Bytes(); }

    // Where things lie, in bytes from the start of the image.
    static constexpr std::uint32_t FileListOffset = 20;

    /// Of a record, in the order of the index: hash 0, data offset 4, size 8, path index 12.
    static constexpr std::size_t RecordOffset(std::size_t index) { return FileListOffset + 4 + 16 * index; }
    std::size_t PathListOffset() const { return RecordOffset(mRecords.size()); }

    /// Of an entry of the path list: text offset 0, unread word 4.
    std::size_t PathOffset(std::size_t index) const { return PathListOffset() + 8 + 8 * index; }

private:
    struct Record
    {
        std::uint32_t hash;
        std::uint32_t dataOffset;
        std::uint32_t size;
        std::uint32_t pathIndex;
        std::string path;
    };

    static bool Precedes(const Record &left, const Record &right)
    {
        if (left.hash != right.hash)
        {
            return left.hash < right.hash;
        }
        return strcasecmp(left.path.c_str(), right.path.c_str()) < 0;
    }

    void WriteRecords(ByteImage &image) const
    {
        std::vector<Record> sorted = mRecords;
        std::stable_sort(sorted.begin(), sorted.end(), Precedes);
        std::size_t offset = RecordOffset(0);
        for (const Record &record : sorted)
        {
            image.Word(offset, record.hash).Word(offset + 4, record.dataOffset);
            image.Word(offset + 8, record.size).Word(offset + 12, record.pathIndex);
            offset += 16;
        }
    }

    void WritePaths(ByteImage &image) const
    {
        const std::size_t list = PathListOffset();
        image.Word(list, 0).Word(list + 4, static_cast<std::uint32_t>(mPaths.size()));
        std::size_t text = PathOffset(mPaths.size());
        for (std::size_t index = 0; index < mPaths.size(); ++index)
        {
            image.Word(PathOffset(index), static_cast<std::uint32_t>(text - list)).Word(PathOffset(index) + 4, 0);
            image.Text(text, mPaths[index]);
            text += mPaths[index].size() + 1;
        }
    }

    std::vector<Record> mRecords;
    std::vector<std::string> mPaths;
};
} // namespace Keld::Test
