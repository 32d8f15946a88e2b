#include "KeldMorvIO/blocks/BlockInflater.h"

#include <zlib.h>

namespace Keld::MORV::Reader
{
namespace
{
constexpr const char *ZlibVersion = "1.2.3"; // the interface that this code is written for

class BlockInflater
{
public:
    BlockInflater(ILzmaIn &source, IBlockOutput &output) : mSource(source), mOutput(output) {}

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

    // True when the stream has ended, whatever the totals.
    bool Run();

    uint64 TotalIn() const { return mStream.total_in; }
    uint64 TotalOut() const { return mStream.total_out; }

private:
    bool ReadChunk();
    void TakeNextBlock();

    ILzmaIn &mSource;
    IBlockOutput &mOutput;
    bool mReady = false;
    z_stream mStream{};
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
        if (mStream.avail_out == 0)
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
    const void *data = nullptr;
    uint32 size = 0;
    if (!mSource.Read(data, size))
    {
        return false;
    }
    mStream.next_in = const_cast<uint8 *>(static_cast<const uint8 *>(data)); // zlib only reads it
    mStream.avail_in = size;
    return true;
}

void BlockInflater::TakeNextBlock()
{
    UncompressedBlock block{};
    if (mOutput.TakeNext(block))
    {
        mStream.next_out = static_cast<uint8 *>(block.mData);
        mStream.avail_out = block.mSize;
    }
}
} // namespace

bool InflateIntoBlocks(ILzmaIn &source, IBlockOutput &output, uint64 outputSize)
{
    BlockInflater inflater(source, output);
    return inflater.Initialize() && inflater.Run() && inflater.TotalIn() == source.GetSize() &&
           inflater.TotalOut() == outputSize;
}
} // namespace Keld::MORV::Reader
