#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldMorvIO/blocks/ChunkedInput.h"
#include "KeldMorvIO/blocks/UncompressedBlock.h"

// A first try at a zlib stream, by a decoder that is faster than zlib, in one of two forms that the build chooses
// between (KELD_FAST_INFLATE):
//
//   IsalInflate.cpp    by Intel's ISA-L.
//   NoFastInflate.cpp  never takes a stream, so that zlib decodes all of them.
namespace Keld::MORV::Reader
{
enum class FastInflateResult
{
    Done,       ///< the blocks are filled, and zlib would have taken the stream
    NotTaken,   ///< zlib has to decide, from the start of the input
    ReadFailed, ///< the input could not be read
};

/// Inflates the stream that is all of `input`, which stands in front of its first chunk.
/// \param blocks     none of them empty
/// \param outputSize bytes of all blocks
FastInflateResult InflateFast(ChunkedInput &input, const UncompressedBlock *blocks, uint32 blockCount,
                              uint64 outputSize);
} // namespace Keld::MORV::Reader
