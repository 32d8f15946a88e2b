#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <optional>

namespace Keld::MORV::Reader
{
/// One block of a decompressed file, or of the room that one is decompressed into.
struct UncompressedBlock
{
    void *mData;
    uint32 mSize; ///< bytes in this block
};

/// The bytes that a row of blocks holds, or nothing when one of them is empty or without memory.
inline std::optional<uint64> SumBlockSizes(const UncompressedBlock *blocks, uint32 blockCount)
{
    uint64 sum = 0;
    for (uint32 index = 0; index < blockCount; ++index)
    {
        if (blocks[index].mData == nullptr || blocks[index].mSize == 0)
        {
            return std::nullopt;
        }
        sum += blocks[index].mSize;
    }
    return sum;
}
} // namespace Keld::MORV::Reader
