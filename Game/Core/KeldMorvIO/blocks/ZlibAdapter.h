#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldMorvIO/blocks/AsyncFile.h"
#include "KeldMorvIO/blocks/UncompressedBlock.h"

namespace Keld::MORV::Reader
{
// Inflates one zlib stream, in one of four forms. All give false, without a log line, when a pointer, a handle, a size
// or the block count among the arguments is 0.
//
// The forms that read a file are strict: the stream must fill the output exactly and use up every compressed byte.
// They read 64 KiB at a time and stop when the output is full, so a stream whose last few bytes lie alone in one more
// such chunk is refused: a compressed size of 1 to 4, sometimes 5, above a multiple of 65,536. Only the low 32 bits of
// `offset` count, and the running offset wraps there. A handle stays open.

/// Takes a stream that comes out shorter than `outputSize`, and bytes behind its end, as well.
bool DecompressZlib(const void *input, uint32 inputSize, void *output, uint32 outputSize);
bool DecompressZlib(const char *path, uint64 offset, uint32 compressedSize, void *output, uint32 outputSize);
bool DecompressZlib(const char *path, uint64 offset, uint32 compressedSize, UncompressedBlock *blocks,
                    const uint32 blockCount);
bool DecompressZlib(AsyncFile file, uint64 offset, uint32 compressedSize, UncompressedBlock *blocks, uint32 blockCount);
} // namespace Keld::MORV::Reader
