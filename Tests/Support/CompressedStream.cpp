#include "Support/CompressedStream.h"

#include <algorithm>
#include <functional>
#include <random>
#include <stdexcept>
#include <vector>

#include <lzma.h>
#include <zlib.h>

namespace Keld::Test
{
namespace
{
const Bytef *AsBytes(std::string_view text)
{
    return reinterpret_cast<const Bytef *>(text.data());
}

std::uint32_t DictionarySize(std::uint8_t property)
{
    constexpr std::uint32_t most = std::uint32_t{1} << 23;
    const std::uint64_t size = std::uint64_t{2U | (property & 1U)} << (property / 2U + 11U);
    return static_cast<std::uint32_t>(std::min<std::uint64_t>(size, most));
}
} // namespace

std::string RandomBytes(std::size_t size, std::uint32_t seed)
{
    std::mt19937_64 generator(seed);
    std::vector<std::uint64_t> words(size / 8 + 1);
    std::generate(words.begin(), words.end(), std::ref(generator));
    return std::string(reinterpret_cast<const char *>(words.data()), size);
}

std::string PatternedBytes(std::size_t size, std::uint32_t seed)
{
    std::mt19937 generator(seed);
    std::string bytes;
    bytes.reserve(size + 64);
    while (bytes.size() < size)
    {
        bytes += "record " + std::to_string(generator() % 1000) + ";\n";
    }
    bytes.resize(size);
    return bytes;
}

std::string ZlibStream(std::string_view plain, int level)
{
    uLongf size = compressBound(plain.size());
    std::string stream(size, '\0');
    if (compress2(reinterpret_cast<Bytef *>(stream.data()), &size, AsBytes(plain), plain.size(), level) != Z_OK)
    {
        throw std::runtime_error("zlib cannot compress");
    }
    stream.resize(size);
    return stream;
}

std::string StoredZlibStream(std::string_view plain, std::size_t blockSize)
{
    std::string stream = "\x78\x01";
    std::size_t offset = 0;
    do
    {
        const std::string_view block = plain.substr(offset, blockSize);
        offset += block.size();
        const auto size = static_cast<std::uint16_t>(block.size());
        stream += offset == plain.size() ? '\1' : '\0';
        for (const unsigned word : {unsigned{size}, ~unsigned{size}})
        {
            stream += static_cast<char>(word & 0xFF);
            stream += static_cast<char>(word >> 8 & 0xFF);
        }
        stream += block;
    } while (offset < plain.size());
    const uLong sum = adler32_z(adler32_z(0, nullptr, 0), AsBytes(plain), plain.size());
    for (const int shift : {24, 16, 8, 0})
    {
        stream += static_cast<char>(sum >> shift & 0xFF);
    }
    return stream;
}

std::string Lzma2Stream(std::string_view plain, std::uint8_t dictionaryProperty)
{
    lzma_options_lzma options;
    if (lzma_lzma_preset(&options, 1))
    {
        throw std::runtime_error("liblzma has no preset 1");
    }
    options.dict_size = DictionarySize(dictionaryProperty);
    const lzma_filter filters[] = {{LZMA_FILTER_LZMA2, &options}, {LZMA_VLI_UNKNOWN, nullptr}};
    std::string stream(plain.size() + plain.size() / 1000 + 4096, '\0');
    std::size_t size = 0;
    if (lzma_raw_buffer_encode(filters, nullptr, AsBytes(plain), plain.size(),
                               reinterpret_cast<std::uint8_t *>(stream.data()), &size, stream.size()) != LZMA_OK)
    {
        throw std::runtime_error("liblzma cannot compress");
    }
    stream.resize(size);
    return stream;
}

std::string LzmaHeader(std::uint8_t dictionaryProperty)
{
    return static_cast<char>(dictionaryProperty) + std::string("\xDE\xAD\xBE\xEF\xFF\xFF\xFF\xFF");
}

std::string LzmaFile(std::string_view plain, std::uint8_t dictionaryProperty)
{
    return LzmaHeader(dictionaryProperty) + Lzma2Stream(plain, dictionaryProperty);
}

std::string StoredLzma2Chunk(std::string_view plain, std::uint8_t control)
{
    const std::size_t last = plain.size() - 1;
    std::string chunk;
    chunk += static_cast<char>(control);
    chunk += static_cast<char>(last >> 8 & 0xFF);
    chunk += static_cast<char>(last & 0xFF);
    chunk += plain;
    return chunk;
}
} // namespace Keld::Test
