#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldMorvIO/blocks/UncompressedBlocks.h"

#include <optional>

namespace Keld::MORV::Reader
{
/// The most that the adapters read from a file at a time, in bytes.
inline constexpr uint32 InputChunkSize = 0x10000;

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
