#include "KeldMorvIO/blocks/ZlibAdapter.h"

#include "KeldMorvIO/blocks/AsyncRequest.h"
#include "KeldMorvIO/blocks/BlockInflater.h"
#include "KeldMorvIO/blocks/CompressedFormat.h"
#include "KeldMorvIO/blocks/ReportedOpen.h"

#include <algorithm>

#include <zlib.h>

namespace Keld::MORV::Reader
{
namespace
{
// A byte range of a file whose offset is 32 bits wide, and wraps.
class ZlibInFile final : public ILzmaIn
{
public:
    ZlibInFile(AsyncFile file, uint64 offset, uint32 size)
        : mFile(file), mOffset(static_cast<uint32>(offset)), mSize(size), mRemaining(size)
    {
    }

    bool Read(const void *&data, uint32 &size) override
    {
        const uint32 chunk = std::min(mRemaining, InputChunkSize);
        uint32 bytesRead = 0;
        if (!AsyncRead(mFile, mOffset, chunk, &bytesRead, mBuffer) || bytesRead != chunk)
        {
            return false;
        }
        mOffset += chunk;
        mRemaining -= chunk;
        data = mBuffer;
        size = chunk;
        return true;
    }

    uint32 GetSize() override { return mSize; }
    uint32 GetRemaining() override { return mRemaining; }

private:
    AsyncFile mFile;
    uint32 mOffset; ///< of the next chunk
    uint32 mSize;
    uint32 mRemaining;
    uint8 mBuffer[InputChunkSize];
};
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
    ZlibInFile source(file, offset, compressedSize);
    BlockRowOutput output(blocks, blockCount);
    return InflateIntoBlocks(source, output, *outputSize);
}
} // namespace Keld::MORV::Reader
