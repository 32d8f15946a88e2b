#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldMorvIO/blocks/AsyncFile.h"
#include "KeldMorvIO/blocks/UncompressedBlock.h"

namespace Keld::MORV::Reader
{
// Each of these calls the adapter of the same form that the compression tag names, ZLIB or LZMA. Any other tag gives
// false, NONE included. What the forms have in common is told in ZlibAdapter.h and LzmaAdapter.h; note there what
// becomes of a handle.

bool DecompressByTag(uint32 tag, const void *input, uint32 inputSize, void *output, uint32 outputSize);
bool DecompressByTag(uint32 tag, const char *path, uint64 offset, uint32 compressedSize, void *output,
                     uint32 outputSize);
bool DecompressByTag(uint32 tag, const char *path, uint64 offset, uint32 compressedSize, UncompressedBlock *blocks,
                     uint32 blockCount);
bool DecompressByTag(uint32 tag, AsyncFile file, uint64 offset, uint32 compressedSize, UncompressedBlock *blocks,
                     uint32 blockCount);
} // namespace Keld::MORV::Reader
