#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldMorvIO/blocks/AsyncFile.h"
#include "KeldMorvIO/blocks/IBlockOutput.h"
#include "KeldMorvIO/blocks/ILzmaIn.h"

namespace Keld::MORV::Reader
{
// Decodes an `LzmaFileHeader` and one LZMA2 stream behind it, in one of four forms. Only the dictionary property of the
// header counts. The stream must fill the output exactly, end with its end mark, and end at the last compressed byte.
// All forms give false, without a log line, when a pointer, a handle, a size or the block count among the arguments
// is 0.

bool DecompressLzma(const void *input, uint32 inputSize, void *output, uint32 outputSize);
bool DecompressLzma(const char *path, uint64 offset, uint32 compressedSize, void *output, uint32 outputSize);
bool DecompressLzma(const char *path, uint64 offset, uint32 compressedSize, UncompressedBlock *blocks,
                    uint32 blockCount);

/// Closes the handle on every way out, except where an argument of 0 is refused. This is required, although the
/// archive's other files read through the same handle: after an LZMA file was opened, their reads fail.
bool DecompressLzma(AsyncFile file, uint64 offset, uint32 compressedSize, UncompressedBlock *blocks, uint32 blockCount);

/// What all forms come down to.
bool DecompressLzma(ILzmaIn &source, UncompressedBlock *blocks, uint32 blockCount);

/// The same into any blocks. `outputSize` is what they hold together, in bytes.
bool DecompressLzma(ILzmaIn &source, IBlockOutput &output, uint64 outputSize);
} // namespace Keld::MORV::Reader
