#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <optional>

namespace Keld::MORV::Reader
{
/// The most bytes that the header of a deflate block can touch: 3 bits, the counts, 19 lengths of 3 bits, and 316
/// code lengths of 7 bits.
inline constexpr uint32 LongestDeflateHeader = 288;

/// What stands in front of a block of a deflate stream.
struct DeflateHeader
{
    bool isFinal;
    const uint8 *end; ///< the byte behind the last one that the header touches
};

/// Reads a block header that begins `bit` bits into the byte at `data`. Gives nothing unless every decoder agrees about
/// it: codes of literals, lengths and distances are complete and there is one for the end, as zlib demands, where a
/// lone distance code would still be legal. The two reserved length codes cannot occur then, nor the two distances.
std::optional<DeflateHeader> ReadDeflateHeader(const uint8 *data, uint32 bit, const uint8 *dataEnd);
} // namespace Keld::MORV::Reader
