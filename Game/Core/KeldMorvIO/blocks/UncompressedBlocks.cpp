#include "KeldMorvIO/blocks/UncompressedBlocks.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/blocks/AsyncRequest.h"
#include "KeldMorvIO/blocks/DecompressByTag.h"
#include "KeldMorvIO/blocks/ReportedOpen.h"

#include <algorithm>
#include <bit>
#include <cstring>

namespace Keld::MORV::Reader
{
UncompressedBlocks::UncompressedBlocks(uint32 blockSize)
    : mBlocks(nullptr), mBlockCount(0), mBlockSize(blockSize),
      mBlockShift(std::has_single_bit(blockSize) ? static_cast<uint32>(std::countr_zero(blockSize)) : 0), mTotalSize(0)
{
}

UncompressedBlocks::~UncompressedBlocks()
{
    Clear();
}

void UncompressedBlocks::Clear()
{
    for (uint32 index = 0; index < mBlockCount; ++index)
    {
        std_free(mBlocks[index].mData);
    }
    std_free(mBlocks);
    mBlocks = nullptr;
    mBlockCount = 0;
    mTotalSize = 0;
}

void UncompressedBlocks::Allocate(uint32 totalSize)
{
    Clear();
    const auto count = static_cast<uint32>((uint64{totalSize} + mBlockSize - 1) / mBlockSize);
    mBlocks = static_cast<UncompressedBlock *>(std_malloc(count * sizeof(UncompressedBlock)));
    if (mBlocks == nullptr)
    {
        return;
    }
    mBlockCount = count;
    mTotalSize = totalSize;
    uint32 left = totalSize;
    for (uint32 index = 0; index < count; ++index)
    {
        const uint32 size = std::min(left, mBlockSize);
        mBlocks[index] = UncompressedBlock{std_malloc(size), size};
        left -= size;
    }
}

bool UncompressedBlocks::Decompress(const uint32 tag, AsyncFile file, uint64 offset, uint32 compressedSize,
                                    uint32 uncompressedSize)
{
    if (uncompressedSize == 0)
    {
        Allocate(0);
        return true;
    }
    if (tag == CompressionNone)
    {
        return FromFile(file, offset, compressedSize);
    }
    Allocate(uncompressedSize);
    return DecompressByTag(tag, file, offset, compressedSize, mBlocks, mBlockCount);
}

bool UncompressedBlocks::Decompress(const uint32 tag, const char *path, uint64 offset, uint32 compressedSize, uint32)
{
    constexpr const char *signature = "bool Keld::MORV::Reader::UncompressedBlocks::Decompress(const Keld::uint32, "
                                      "const char *, Keld::uint64, Keld::uint32, Keld::uint32)";
    const AsyncFile file = OpenOrReport(signature, path);
    if (file == AsyncFile::Null)
    {
        return false;
    }
    const bool result = DecompressByTag(tag, file, offset, compressedSize, mBlocks, mBlockCount);
    AsyncClose(file);
    return result;
}

bool UncompressedBlocks::FromFile(AsyncFile file, uint64 offset, uint32 size)
{
    constexpr const char *signature =
        "bool Keld::MORV::Reader::UncompressedBlocks::FromFile(AsyncFile, Keld::uint64, Keld::uint32)";
    Allocate(size);
    if (size == 0)
    {
        return true;
    }
    bool complete = mBlocks != nullptr;
    for (uint32 index = 0; complete && index < mBlockCount; ++index)
    {
        const UncompressedBlock &block = mBlocks[index];
        uint32 bytesRead = 0;
        // Required: the offset does not advance, so each block is filled from the start of the range.
        complete = AsyncRead(file, offset, block.mSize, &bytesRead, block.mData) && bytesRead == block.mSize;
    }
    if (!complete)
    {
        char text[16];
        std_snprintf(text, sizeof text, "%d", static_cast<int>(file));
        LogError("%s: Failed to read from %s", signature, text);
        Clear();
    }
    return complete;
}

bool UncompressedBlocks::FromFile(const char *path, uint64 offset, uint32 size)
{
    constexpr const char *signature =
        "bool Keld::MORV::Reader::UncompressedBlocks::FromFile(const char *, Keld::uint64, Keld::uint32)";
    const AsyncFile file = OpenOrReport(signature, path);
    if (file == AsyncFile::Null)
    {
        return false;
    }
    const bool result = FromFile(file, offset, size);
    AsyncClose(file);
    return result;
}

uint32 UncompressedBlocks::Read(void *destination, uint32 offset, uint32 size) const
{
    if (offset >= mTotalSize)
    {
        return 0;
    }
    const uint32 amount = std::min(mTotalSize - offset, size);
    uint32 copied = 0;
    const uint32 firstIndex = GetBlockIndex(offset);
    uint32 position = offset - firstIndex * mBlockSize;
    for (uint32 index = firstIndex; copied < amount && index < mBlockCount; ++index)
    {
        const UncompressedBlock &block = mBlocks[index];
        const uint32 count = std::min(amount - copied, block.mSize - position);
        std_memcpy(static_cast<char *>(destination) + copied, size - copied,
                   static_cast<const char *>(block.mData) + position, count);
        copied += count;
        position = 0;
    }
    return copied;
}

bool UncompressedBlocks::ReadWhole(uint64 offset, uint32 size, uint32 *bytesRead, void *destination) const
{
    const uint32 copied = Read(destination, static_cast<uint32>(offset), size);
    if (bytesRead != nullptr)
    {
        *bytesRead = copied;
    }
    return copied == size;
}

uint32 UncompressedBlocks::FindByte(uint8 value, uint32 offset) const
{
    uint32 position = offset % mBlockSize;
    for (uint32 index = offset / mBlockSize; index < mBlockCount; ++index)
    {
        const UncompressedBlock &block = mBlocks[index];
        const char *const data = static_cast<const char *>(block.mData);
        if (position < block.mSize)
        {
            const void *const found = std_memchr(data + position, value, block.mSize - position);
            if (found != nullptr)
            {
                return index * mBlockSize + static_cast<uint32>(static_cast<const char *>(found) - data);
            }
        }
        position = 0;
    }
    return mTotalSize;
}
} // namespace Keld::MORV::Reader
