#pragma once

#include "KeldMorvIO/blocks/IBlockOutput.h"
#include "KeldMorvIO/blocks/ILzmaIn.h"

namespace Keld::MORV::Reader
{
/// Inflates one zlib stream, chunk by chunk of its source and block by block of its output.
///
/// The stream must fill the output exactly and use up every byte of the source. Where it ends depends on the chunks: it
/// is looked at no further once the output is full and the chunk is used up, so a stream whose last few bytes lie alone
/// in one more chunk is refused.
/// \param outputSize bytes that the blocks of the output hold together.
bool InflateIntoBlocks(ILzmaIn &source, IBlockOutput &output, uint64 outputSize);
} // namespace Keld::MORV::Reader
