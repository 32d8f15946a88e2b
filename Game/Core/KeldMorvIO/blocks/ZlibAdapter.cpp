#include "KeldMorvIO/blocks/ZlibAdapter.h"

#include "KeldMorvIO/blocks/BlockInflater.h"
#include "KeldMorvIO/blocks/ChunkedInput.h"
#include "KeldMorvIO/blocks/FastInflate.h"
#include "KeldMorvIO/blocks/ReportedOpen.h"

#include <zlib.h>

namespace Keld::MORV::Reader
{
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
    ChunkedInput input(file, offset, compressedSize);
    const FastInflateResult result = InflateFast(input, blocks, blockCount, *outputSize);
    if (result != FastInflateResult::NotTaken)
    {
        return result == FastInflateResult::Done;
    }
    input.Rewind();
    BlockRowOutput output(blocks, blockCount);
    return InflateIntoBlocks(input, output, *outputSize);
}
} // namespace Keld::MORV::Reader
