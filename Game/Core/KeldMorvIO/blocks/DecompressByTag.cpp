#include "KeldMorvIO/blocks/DecompressByTag.h"

#include "KeldMorvIO/blocks/CompressedFormat.h"
#include "KeldMorvIO/blocks/LzmaAdapter.h"
#include "KeldMorvIO/blocks/ZlibAdapter.h"

namespace Keld::MORV::Reader
{
namespace
{
template <class... Arguments>
bool Dispatch(uint32 tag, Arguments... arguments)
{
    switch (tag)
    {
    case CompressionZlib:
        return DecompressZlib(arguments...);
    case CompressionLzma:
        return DecompressLzma(arguments...);
    default:
        return false;
    }
}
} // namespace

bool DecompressByTag(uint32 tag, const void *input, uint32 inputSize, void *output, uint32 outputSize)
{
    return Dispatch(tag, input, inputSize, output, outputSize);
}

bool DecompressByTag(uint32 tag, const char *path, uint64 offset, uint32 compressedSize, void *output,
                     uint32 outputSize)
{
    return Dispatch(tag, path, offset, compressedSize, output, outputSize);
}

bool DecompressByTag(uint32 tag, const char *path, uint64 offset, uint32 compressedSize, UncompressedBlock *blocks,
                     uint32 blockCount)
{
    return Dispatch(tag, path, offset, compressedSize, blocks, blockCount);
}

bool DecompressByTag(uint32 tag, AsyncFile file, uint64 offset, uint32 compressedSize, UncompressedBlock *blocks,
                     uint32 blockCount)
{
    return Dispatch(tag, file, offset, compressedSize, blocks, blockCount);
}
} // namespace Keld::MORV::Reader
