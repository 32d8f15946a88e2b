#pragma once

#include <cstdint>
#include <string>
#include <string_view>

namespace Keld::Test
{
/// The bytes of a text, as the reader counts them.
inline std::uint32_t SizeOf(std::string_view text)
{
    return static_cast<std::uint32_t>(text.size());
}

/// Bytes without any pattern, the same for the same seed: they do not compress.
std::string RandomBytes(std::size_t size, std::uint32_t seed);

/// Bytes that compress well, the same for the same seed.
std::string PatternedBytes(std::size_t size, std::uint32_t seed);

/// One zlib stream. Level 0 stores.
std::string ZlibStream(std::string_view plain, int level = 6);

/// The plainest zlib stream, with stored blocks of at most `blockSize` bytes (to 65,535), so that its size can be told
/// beforehand: the plain bytes, 5 for each block, and 6.
std::string StoredZlibStream(std::string_view plain, std::size_t blockSize = 65535);

/// One LZMA2 stream with its end mark and without a header.
/// \param dictionaryProperty 0 to 40; the encoder works with no more than 8 MiB, whatever it says
std::string Lzma2Stream(std::string_view plain, std::uint8_t dictionaryProperty = 16);

/// The form in an archive: the property byte, eight bytes that have no meaning, and an LZMA2 stream.
std::string LzmaFile(std::string_view plain, std::uint8_t dictionaryProperty = 16);

/// An LZMA2 chunk that holds its bytes uncompressed: a control byte of 1 resets the dictionary, 2 does not.
std::string StoredLzma2Chunk(std::string_view plain, std::uint8_t control);

/// Nine bytes of header, with marks in the eight that have no meaning.
std::string LzmaHeader(std::uint8_t dictionaryProperty);
} // namespace Keld::Test
