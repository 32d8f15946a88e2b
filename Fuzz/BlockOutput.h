#pragma once

#include "KeldMorvIO/blocks/UncompressedBlocks.h"

#include <algorithm>
#include <vector>

namespace Keld::Fuzz
{
/// Room for a decompressed file, of 1 byte to 64 KiB, in blocks of their own so that a sanitizer sees a write behind
/// one.
class BlockOutput
{
public:
    /// \param size      0 counts as 64 KiB
    /// \param blockSize in units of 256 bytes; 0 counts as one unit, 0xFF as all in one block
    BlockOutput(uint32 size, uint8 blockSize) : mSize(size == 0 ? 0x10000 : size)
    {
        const uint32 unit = blockSize == 0xFF ? mSize : std::max<uint32>(blockSize, 1) * 256;
        for (uint32 left = mSize; left != 0; left -= static_cast<uint32>(mStorage.back().size()))
        {
            mStorage.emplace_back(std::min(left, unit));
            mBlocks.push_back({mStorage.back().data(), static_cast<uint32>(mStorage.back().size())});
        }
    }

    uint32 Size() const { return mSize; }
    void *Data() { return mStorage.front().data(); } ///< of an output in one block
    MORV::Reader::UncompressedBlock *Blocks() { return mBlocks.data(); }
    uint32 Count() const { return static_cast<uint32>(mBlocks.size()); }

    bool Equals(const BlockOutput &other) const { return Joined() == other.Joined(); }

private:
    std::vector<uint8> Joined() const
    {
        std::vector<uint8> bytes;
        for (const std::vector<uint8> &block : mStorage)
        {
            bytes.insert(bytes.end(), block.begin(), block.end());
        }
        return bytes;
    }

    uint32 mSize;
    std::vector<std::vector<uint8>> mStorage;
    std::vector<MORV::Reader::UncompressedBlock> mBlocks;
};
} // namespace Keld::Fuzz
