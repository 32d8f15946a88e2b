#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/file/LittleEndian.h"

#include <cstddef>

// The compressed content of archives, as the adapters read it and the writer makes it. Drawn in
// Docs/Formats/CompressedData.md.
namespace Keld::MORV::Reader
{
// Compression tags: four ASCII characters, the first in the lowest byte.
inline constexpr uint32 CompressionNone = 0x454E4F4E; // "NONE"
inline constexpr uint32 CompressionZlib = 0x42494C5A; // "ZLIB": one zlib stream
inline constexpr uint32 CompressionLzma = 0x414D5A4C; // "LZMA": an LzmaHeader, then one LZMA2 stream

/// The most compressed bytes that the adapters read from a file at a time. A writer has to know it: a zlib stream
/// whose last few bytes would lie alone in one more chunk is refused.
inline constexpr uint32 InputChunkSize = 0x10000;

/// What stands before an LZMA2 stream.
struct LzmaFileHeader
{
    uint8 dictionaryProperty; ///< 0 to 40, as the decoder takes it
    Little32 contentSizeLow;  ///< bytes of the content. The adapter skips both words unread
    Little32 contentSizeHigh;
};
static_assert(sizeof(LzmaFileHeader) == 9 && alignof(LzmaFileHeader) == 1);
static_assert(offsetof(LzmaFileHeader, contentSizeLow) == 1 && offsetof(LzmaFileHeader, contentSizeHigh) == 5);
} // namespace Keld::MORV::Reader
