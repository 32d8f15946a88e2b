#include "Oracle/Decoding.h"

#include <algorithm>
#include <string_view>

#include <lzma.h>
#include <zlib.h>

namespace Keld::Test::Oracle
{
namespace
{
// zlib takes what it reads as bytes that may be written.
Bytef *Bytes(std::string_view text)
{
    return reinterpret_cast<Bytef *>(const_cast<char *>(text.data()));
}

// Input comes in pieces of 64 KiB. Once the output is full no further piece is asked for, so that a stream whose last
// bytes lie in a piece of their own is refused.
std::optional<std::string> Inflated(std::string_view stored, std::uint32_t size)
{
    constexpr std::size_t piece = 65536;
    std::string content(size, '\0');
    z_stream stream{};
    if (inflateInit(&stream) != Z_OK)
    {
        return std::nullopt;
    }
    stream.next_out = Bytes(content);
    stream.avail_out = size;
    std::size_t taken = 0;
    int result = Z_OK;
    do
    {
        if (stream.avail_in == 0)
        {
            stream.next_in = Bytes(stored.substr(taken));
            stream.avail_in = static_cast<uInt>(std::min(piece, stored.size() - taken));
            taken += stream.avail_in;
        }
        if (stream.avail_in == 0 || stream.avail_out == 0)
        {
            break;
        }
        result = inflate(&stream, Z_NO_FLUSH);
    } while (result == Z_OK || result == Z_BUF_ERROR);
    const bool isWhole = result == Z_STREAM_END && stream.total_in == stored.size() && stream.total_out == size;
    inflateEnd(&stream);
    return isWhole ? std::optional(content) : std::nullopt;
}

// A property byte for the dictionary's size, eight bytes that nobody reads, and LZMA2 with its end mark.
std::optional<std::string> Unpacked(std::string_view stored, std::uint32_t size)
{
    constexpr std::size_t headerSize = 9;
    constexpr std::uint32_t smallestDictionary = 4096;
    const unsigned property = stored.size() < headerSize ? 255 : static_cast<unsigned char>(stored[0]);
    if (property > 40)
    {
        return std::nullopt;
    }
    const std::uint64_t dictionary = std::uint64_t{2U | (property & 1U)} << (property / 2U + 11U);
    lzma_options_lzma options{};
    options.dict_size =
        static_cast<std::uint32_t>(std::min<std::uint64_t>(dictionary, std::max(size, smallestDictionary)));
    const lzma_filter filters[] = {{LZMA_FILTER_LZMA2, &options}, {LZMA_VLI_UNKNOWN, nullptr}};
    lzma_stream stream = LZMA_STREAM_INIT;
    if (lzma_raw_decoder(&stream, filters) != LZMA_OK)
    {
        return std::nullopt;
    }
    std::string content(size, '\0');
    stream.next_in = Bytes(stored.substr(headerSize));
    stream.avail_in = stored.size() - headerSize;
    stream.next_out = Bytes(content);
    stream.avail_out = size;
    lzma_ret result = LZMA_OK;
    while (result == LZMA_OK)
    {
        result = lzma_code(&stream, LZMA_RUN);
    }
    const bool isWhole = result == LZMA_STREAM_END && stream.avail_in == 0 && stream.avail_out == 0;
    lzma_end(&stream);
    return isWhole ? std::optional(content) : std::nullopt;
}
} // namespace

std::optional<std::string> Decoded(Compression compression, const std::string &data, std::uint32_t offset,
                                   std::uint32_t storedSize, std::uint32_t size)
{
    if (size == 0)
    {
        return std::string();
    }
    if (storedSize == 0 || offset > data.size() || storedSize > data.size() - offset)
    {
        return std::nullopt;
    }
    const std::string_view stored = std::string_view(data).substr(offset, storedSize);
    return compression == Compression::Zlib ? Inflated(stored, size) : Unpacked(stored, size);
}
} // namespace Keld::Test::Oracle
