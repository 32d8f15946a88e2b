#include "KeldMorvIO/blocks/ZlibAdapter.h"

#include "KeldMorvIO/blocks/AsyncRequest.h"
#include "KeldMorvIO/blocks/CompressedFormat.h"
#include "KeldMorvIO/blocks/ReportedOpen.h"

#include <algorithm>

#include <zlib.h>

namespace Keld::MORV::Reader
{
namespace
{
constexpr const char *ZlibVersion = "1.2.3"; // the interface that this code is written for

/// Inflates the byte range of a file into blocks.
class BlockInflater
{
public:
    BlockInflater(AsyncFile file, uint64 offset, uint32 compressedSize, UncompressedBlock *blocks, uint32 blockCount)
        : mFile(file), mOffset(static_cast<uint32>(offset)), mInputLeft(compressedSize), mBlocks(blocks),
          mBlocksLeft(blockCount)
    {
    }

    ~BlockInflater()
    {
        if (mReady)
        {
            inflateEnd(&mStream);
        }
    }

    BlockInflater(const BlockInflater &) = delete;
    BlockInflater &operator=(const BlockInflater &) = delete;

    bool Initialize()
    {
        mReady = inflateInit_(&mStream, ZlibVersion, static_cast<int>(sizeof mStream)) == Z_OK;
        return mReady;
    }

    /// True when the stream has ended, whatever the totals.
    bool Run();

    uint64 TotalIn() const { return mStream.total_in; }
    uint64 TotalOut() const { return mStream.total_out; }

private:
    bool ReadChunk();
    void TakeNextBlock();

    AsyncFile mFile;
    uint32 mOffset; ///< of the next chunk; 32 bits wide, and wraps
    uint32 mInputLeft;
    UncompressedBlock *mBlocks; ///< the next one to fill
    uint32 mBlocksLeft;
    bool mReady = false;
    z_stream mStream{};
    uint8 mInput[InputChunkSize];
};

bool IsFatal(int result)
{
    return result == Z_MEM_ERROR || result == Z_DATA_ERROR || result == Z_STREAM_ERROR || result == Z_NEED_DICT;
}

bool BlockInflater::Run()
{
    int result = Z_OK;
    while (result != Z_STREAM_END)
    {
        if (mStream.avail_in == 0 && !ReadChunk())
        {
            return false;
        }
        if (mStream.avail_out == 0 && mBlocksLeft != 0)
        {
            TakeNextBlock();
        }
        if (mStream.avail_in == 0 || mStream.avail_out == 0)
        {
            break; // with no room left, the stream counts as ended only if its end was met before
        }
        result = inflate(&mStream, Z_NO_FLUSH);
        if (IsFatal(result))
        {
            return false;
        }
    }
    return result == Z_STREAM_END;
}

bool BlockInflater::ReadChunk()
{
    const uint32 size = std::min(mInputLeft, InputChunkSize);
    uint32 bytesRead = 0;
    if (!AsyncRead(mFile, mOffset, size, &bytesRead, mInput) || bytesRead != size)
    {
        return false;
    }
    mStream.next_in = mInput;
    mStream.avail_in = size;
    mOffset += size;
    mInputLeft -= size;
    return true;
}

void BlockInflater::TakeNextBlock()
{
    mStream.next_out = static_cast<uint8 *>(mBlocks->mData);
    mStream.avail_out = mBlocks->mSize;
    ++mBlocks;
    --mBlocksLeft;
}
} // namespace

bool DecompressZlib(const void *input, uint32 inputSize, void *output, uint32 outputSize)
{
    if (input == nullptr || inputSize == 0 || output == nullptr || outputSize == 0)
    {
        return false;
    }
    uLongf produced = outputSize;
    return uncompress(static_cast<uint8 *>(output), &produced, static_cast<const uint8 *>(input), inputSize) == Z_OK;
}

bool DecompressZlib(const char *path, uint64 offset, uint32 compressedSize, void *output, uint32 outputSize)
{
    if (output == nullptr || outputSize == 0)
    {
        return false;
    }
    UncompressedBlock block{output, outputSize};
    return DecompressZlib(path, offset, compressedSize, &block, 1);
}

bool DecompressZlib(const char *path, uint64 offset, uint32 compressedSize, UncompressedBlock *blocks,
                    const uint32 blockCount)
{
    constexpr const char *signature = "bool Keld::MORV::Reader::DecompressZlib(const char *, Keld::uint64, "
                                      "Keld::uint32, Keld::MORV::Reader::UncompressedBlock *, const Keld::uint32)";
    if (path == nullptr || compressedSize == 0 || blocks == nullptr || blockCount == 0)
    {
        return false;
    }
    const AsyncFile file = OpenOrReport(signature, path);
    if (file == AsyncFile::Null)
    {
        return false;
    }
    const bool result = DecompressZlib(file, offset, compressedSize, blocks, blockCount);
    AsyncClose(file);
    return result;
}

bool DecompressZlib(AsyncFile file, uint64 offset, uint32 compressedSize, UncompressedBlock *blocks, uint32 blockCount)
{
    if (file == AsyncFile::Null || compressedSize == 0 || blocks == nullptr || blockCount == 0)
    {
        return false;
    }
    const std::optional<uint64> outputSize = SumBlockSizes(blocks, blockCount);
    if (!outputSize)
    {
        return false;
    }
    BlockInflater inflater(file, offset, compressedSize, blocks, blockCount);
    return inflater.Initialize() && inflater.Run() && inflater.TotalIn() == compressedSize &&
           inflater.TotalOut() == *outputSize;
}
} // namespace Keld::MORV::Reader
