#include "KeldMorvIO/blocks/LzmaAdapter.h"

#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/blocks/CompressedFormat.h"
#include "KeldMorvIO/blocks/Lzma2Decoder.h"
#include "KeldMorvIO/blocks/LzmaInBuffer.h"
#include "KeldMorvIO/blocks/LzmaInFile.h"

namespace Keld::MORV::Reader
{
namespace
{
constexpr uint32 HeaderSize = sizeof(LzmaFileHeader);

// The chunk that is being decoded.
struct Chunk
{
    const void *data = nullptr;
    uint32 size = 0;
    uint32 position = 0;
};

// The decoding loop: it ends when a call neither writes nor consumes anything, or when the stream is bad.
class BlockDecoder
{
public:
    BlockDecoder(ILzmaIn &source, Lzma2Decoder &decoder, IBlockOutput &output, uint64 outputSize)
        : mSource(source), mDecoder(decoder), mOutput(output), mOutputLeft(outputSize),
          mInputLeft(source.GetSize() - HeaderSize)
    {
    }

    // False for an output without a block.
    // \param chunk the first one, header included
    bool Run(Chunk chunk);

private:
    Lzma2Decoder::Result DecodeOnce(const Chunk &chunk);
    void Advance(uint32 written);

    ILzmaIn &mSource;
    Lzma2Decoder &mDecoder;
    IBlockOutput &mOutput;
    UncompressedBlock mBlock{}; ///< stays the last one when that is full
    uint32 mPosition = 0;       ///< in the block
    uint64 mOutputLeft;
    uint32 mInputLeft; ///< wraps when input is fed again
};

bool BlockDecoder::Run(Chunk chunk)
{
    if (!mOutput.TakeNext(mBlock))
    {
        return false;
    }
    chunk.position = HeaderSize;
    for (;;)
    {
        if (chunk.position == chunk.size)
        {
            // When the read fails, the old chunk stays and is decoded once more from its start. The result is false
            // all the same: the bytes that were not read still count as left.
            mSource.Read(chunk.data, chunk.size);
            chunk.position = 0;
        }
        const Lzma2Decoder::Result result = DecodeOnce(chunk);
        if (result.status == Lzma2Decoder::Status::Bad)
        {
            return false;
        }
        if (result.written == 0 && result.consumed == 0)
        {
            return mInputLeft == 0 && result.status == Lzma2Decoder::Status::FinishedWithMark && mOutputLeft == 0;
        }
        mInputLeft -= result.consumed;
        chunk.position += result.consumed;
        Advance(result.written);
    }
}

Lzma2Decoder::Result BlockDecoder::DecodeOnce(const Chunk &chunk)
{
    const auto mode = mSource.GetRemaining() == 0 ? Lzma2Decoder::FinishMode::End : Lzma2Decoder::FinishMode::Any;
    return mDecoder.Decode(static_cast<uint8 *>(mBlock.mData) + mPosition, mBlock.mSize - mPosition,
                           static_cast<const uint8 *>(chunk.data) + chunk.position, chunk.size - chunk.position, mode);
}

void BlockDecoder::Advance(uint32 written)
{
    mOutputLeft -= written;
    mPosition += written;
    if (mPosition == mBlock.mSize && mOutput.TakeNext(mBlock))
    {
        mPosition = 0;
    }
}
} // namespace

bool DecompressLzma(ILzmaIn &source, UncompressedBlock *blocks, uint32 blockCount)
{
    const std::optional<uint64> outputSize = SumBlockSizes(blocks, blockCount);
    BlockRowOutput output(blocks, blockCount);
    return outputSize && DecompressLzma(source, output, *outputSize);
}

bool DecompressLzma(ILzmaIn &source, IBlockOutput &output, uint64 outputSize)
{
    constexpr const char *signature = "bool Keld::MORV::Reader::DecompressLzma(ILzmaIn &, UncompressedBlock *, uint32)";
    if (source.GetSize() < HeaderSize)
    {
        LogError("%s: Source data is too small to be valid.", signature);
        return false;
    }
    Chunk chunk;
    if (!source.Read(chunk.data, chunk.size) || chunk.data == nullptr || chunk.size < HeaderSize)
    {
        return false;
    }
    Lzma2Decoder decoder;
    const auto *const header = static_cast<const LzmaFileHeader *>(chunk.data);
    if (!decoder.Allocate(header->dictionaryProperty, outputSize))
    {
        LogError("%s: Allocating the lzma compression state failed.", signature);
        return false;
    }
    return BlockDecoder(source, decoder, output, outputSize).Run(chunk);
}

bool DecompressLzma(const void *input, uint32 inputSize, void *output, uint32 outputSize)
{
    if (input == nullptr || inputSize == 0 || output == nullptr || outputSize == 0)
    {
        return false;
    }
    LzmaInBuffer source(input, inputSize);
    UncompressedBlock block{output, outputSize};
    return DecompressLzma(source, &block, 1);
}

bool DecompressLzma(const char *path, uint64 offset, uint32 compressedSize, void *output, uint32 outputSize)
{
    if (output == nullptr || outputSize == 0)
    {
        return false;
    }
    UncompressedBlock block{output, outputSize};
    return DecompressLzma(path, offset, compressedSize, &block, 1);
}

bool DecompressLzma(const char *path, uint64 offset, uint32 compressedSize, UncompressedBlock *blocks,
                    uint32 blockCount)
{
    if (path == nullptr || compressedSize == 0 || blocks == nullptr || blockCount == 0)
    {
        return false;
    }
    LzmaInFile source;
    return source.Initialize(path, offset, compressedSize) && DecompressLzma(source, blocks, blockCount);
}

bool DecompressLzma(AsyncFile file, uint64 offset, uint32 compressedSize, UncompressedBlock *blocks, uint32 blockCount)
{
    if (file == AsyncFile::Null || compressedSize == 0 || blocks == nullptr || blockCount == 0)
    {
        return false;
    }
    LzmaInFile source;
    source.Initialize(file, offset, compressedSize);
    return DecompressLzma(source, blocks, blockCount);
}
} // namespace Keld::MORV::Reader
