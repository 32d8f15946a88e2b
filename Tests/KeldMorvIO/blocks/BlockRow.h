#pragma once

#include "KeldMorvIO/blocks/UncompressedBlocks.h"

#include <string>
#include <vector>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::Test
{
/// A row of output blocks of given sizes, filled with '#'.
class BlockRow
{
public:
    explicit BlockRow(const std::vector<std::size_t> &sizes)
    {
        for (const std::size_t size : sizes)
        {
            mStorage.emplace_back(size, '#');
        }
        for (std::string &storage : mStorage)
        {
            mBlocks.push_back({storage.data(), static_cast<uint32>(storage.size())});
        }
    }

    BlockRow(const BlockRow &) = delete;
    BlockRow &operator=(const BlockRow &) = delete;

    /// As the listings lay out a file of `total` bytes, with blocks of `blockSize`.
    static BlockRow Of(std::size_t total, std::size_t blockSize = 0x40000)
    {
        std::vector<std::size_t> sizes;
        for (std::size_t left = total; left != 0; left -= sizes.back())
        {
            sizes.push_back(left < blockSize ? left : blockSize);
        }
        return BlockRow(sizes);
    }

    MORV::Reader::UncompressedBlock *Data() { return mBlocks.data(); }
    uint32 Count() const { return static_cast<uint32>(mBlocks.size()); }

    std::string Content() const
    {
        std::string content;
        for (const std::string &storage : mStorage)
        {
            content += storage;
        }
        return content;
    }

private:
    std::vector<std::string> mStorage;
    std::vector<MORV::Reader::UncompressedBlock> mBlocks;
};

/// Puts bytes into a file at an offset that may lie far behind its end; what is between takes no room on the disk.
inline bool WriteSparse(const std::string &path, std::uint64_t offset, std::string_view bytes)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_CLOEXEC, 0644);
    const ssize_t written = pwrite(file, bytes.data(), bytes.size(), static_cast<off_t>(offset));
    close(file);
    return written == static_cast<ssize_t>(bytes.size());
}

/// The sizes at which chunks of input and blocks of output begin and end, and some well beyond.
inline const std::vector<std::size_t> TellingSizes = {
    1, 2, 1000, 65535, 65536, 65537, 131072, 262143, 262144, 262145, 524288, 524289, 3 * 1024 * 1024 + 17};
} // namespace Keld::Test
