#include "Support/DeflateBits.h"

#include <zlib.h>

namespace Keld::Test
{
DeflateBits &DeflateBits::Bits(std::uint32_t value, unsigned count)
{
    for (unsigned bit = 0; bit < count; ++bit)
    {
        if (mFilled % 8 == 0)
        {
            mBytes += '\0';
            mFilled = 0;
        }
        mBytes.back() = static_cast<char>(static_cast<unsigned char>(mBytes.back()) | (value >> bit & 1) << mFilled);
        ++mFilled;
    }
    return *this;
}

DeflateBits &DeflateBits::Code(std::uint32_t code, unsigned length)
{
    for (unsigned bit = length; bit > 0; --bit)
    {
        Bits(code >> (bit - 1) & 1, 1);
    }
    return *this;
}

DeflateBits &DeflateBits::ToByte()
{
    mFilled = 8;
    return *this;
}

DeflateBits &DeflateBits::Stored(std::string_view plain, bool isFinal, std::uint32_t damage)
{
    const auto size = static_cast<std::uint32_t>(plain.size());
    Bits(isFinal ? 1 : 0, 1).Bits(0, 2).ToByte().Bits(size, 16).Bits((~size ^ damage) & 0xFFFF, 16);
    mBytes += plain;
    return *this;
}

DeflateBits &DeflateBits::FixedHeader(bool isFinal)
{
    return Bits(isFinal ? 1 : 0, 1).Bits(1, 2);
}

DeflateBits &DeflateBits::FixedSymbol(std::uint32_t symbol)
{
    if (symbol < 144)
    {
        return Code(0x30 + symbol, 8);
    }
    if (symbol < 256)
    {
        return Code(0x190 + symbol - 144, 9);
    }
    return symbol < 280 ? Code(symbol - 256, 7) : Code(0xC0 + symbol - 280, 8);
}

DeflateBits &DeflateBits::FixedText(std::string_view plain)
{
    for (const char byte : plain)
    {
        FixedSymbol(static_cast<unsigned char>(byte));
    }
    return *this;
}

DeflateBits &DeflateBits::DynamicHeader(bool isFinal, const std::vector<unsigned> &literals,
                                        const std::vector<unsigned> &distances)
{
    Bits(isFinal ? 1 : 0, 1).Bits(2, 2);
    Bits(static_cast<std::uint32_t>(literals.size()) - 257, 5);
    Bits(static_cast<std::uint32_t>(distances.size()) - 1, 5);
    Bits(15, 4);
    for (int index = 0; index < 19; ++index)
    {
        Bits(index < 3 ? 0 : 4, 3); // the three repeats come first, and have no code
    }
    for (const std::vector<unsigned> *const lengths : {&literals, &distances})
    {
        for (const unsigned length : *lengths)
        {
            Code(length, 4);
        }
    }
    return *this;
}

std::string DeflateBits::Zlib(std::string_view plain, std::string_view header) const
{
    std::string stream(header);
    stream += mBytes;
    const uLong sum = adler32_z(adler32_z(0, nullptr, 0), reinterpret_cast<const Bytef *>(plain.data()), plain.size());
    for (const int shift : {24, 16, 8, 0})
    {
        stream += static_cast<char>(sum >> shift & 0xFF);
    }
    return stream;
}

std::uint32_t CanonicalCode(const std::vector<unsigned> &lengths, std::size_t symbol)
{
    std::uint32_t code = 0;
    for (unsigned length = 1; length <= lengths[symbol]; ++length)
    {
        code <<= 1;
        for (std::size_t other = 0; other < lengths.size(); ++other)
        {
            const bool isBefore = lengths[other] == length && (length < lengths[symbol] || other < symbol);
            code += isBefore ? 1 : 0;
        }
    }
    return code;
}
} // namespace Keld::Test
