#include "Tools/TreeWriter/Compression.h"

#include "KeldMorvIO/blocks/CompressedFormat.h"

#include <lzma.h>
#include <zlib.h>

#include <algorithm>
#include <cstring>
#include <stdexcept>

namespace Keld::TreeWriter
{
namespace
{
using MORV::Reader::InputChunkSize;

// What can follow the last byte of content: the end code of its block (at most 15 bits), an empty last block (10 bits),
// the bits up to a whole byte, and four bytes of checksum.
constexpr std::size_t LongestEndAlone = 8;

std::string DeflateAt(std::string_view content, int level)
{
    uLongf size = compressBound(static_cast<uLong>(content.size()));
    std::string stream(size, '\0');
    const int result =
        compress2(reinterpret_cast<Bytef *>(stream.data()), &size, reinterpret_cast<const Bytef *>(content.data()),
                  static_cast<uLong>(content.size()), level);
    if (result != Z_OK)
    {
        throw std::runtime_error("zlib cannot compress " + std::to_string(content.size()) + " bytes");
    }
    stream.resize(size);
    return stream;
}

lzma_options_lzma EncoderOptions(std::size_t contentSize)
{
    lzma_options_lzma options;
    if (lzma_lzma_preset(&options, LZMA_PRESET_DEFAULT))
    {
        throw std::runtime_error("liblzma lacks its default preset");
    }
    // A dictionary larger than the content only costs the reader memory.
    const std::size_t largest = std::max<std::size_t>(contentSize, LZMA_DICT_SIZE_MIN);
    options.dict_size = static_cast<uint32_t>(std::min<std::size_t>(options.dict_size, largest));
    return options;
}

void Require(lzma_ret result)
{
    if (result != LZMA_OK)
    {
        throw std::runtime_error("liblzma cannot compress (error " + std::to_string(result) + ")");
    }
}
} // namespace

bool ZlibEndsAloneInChunk(std::size_t compressedSize)
{
    const std::size_t rest = compressedSize % InputChunkSize;
    return compressedSize > InputChunkSize && rest >= 1 && rest <= LongestEndAlone;
}

std::optional<std::string> CompressZlib(std::string_view content)
{
    for (const int level : {6, 9, 8, 7, 5, 4, 3, 2, 1})
    {
        std::string stream = DeflateAt(content, level);
        if (!ZlibEndsAloneInChunk(stream.size()))
        {
            return stream;
        }
    }
    return std::nullopt;
}

std::string CompressLzma(std::string_view content)
{
    lzma_options_lzma options = EncoderOptions(content.size());
    const lzma_filter filters[] = {{LZMA_FILTER_LZMA2, &options}, {LZMA_VLI_UNKNOWN, nullptr}};

    MORV::Reader::LzmaFileHeader header;
    Require(lzma_properties_encode(&filters[0], &header.dictionaryProperty));
    header.contentSizeLow = static_cast<uint32>(content.size());
    header.contentSizeHigh = static_cast<uint32>(uint64{content.size()} >> 32);

    std::size_t size = sizeof header;
    std::string stored(size + lzma_stream_buffer_bound(content.size()), '\0');
    std::memcpy(stored.data(), &header, sizeof header);
    Require(lzma_raw_buffer_encode(filters, nullptr, reinterpret_cast<const uint8_t *>(content.data()), content.size(),
                                   reinterpret_cast<uint8_t *>(stored.data()), &size, stored.size()));
    stored.resize(size);
    return stored;
}
} // namespace Keld::TreeWriter
