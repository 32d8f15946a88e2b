#pragma once

#include <cstdint>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::Test
{
/// Writes a deflate stream by hand, code by code, good or bad.
class DeflateBits
{
public:
    /// `count` bits of a number, the lowest first.
    DeflateBits &Bits(std::uint32_t value, unsigned count);

    /// A code, whose highest bit comes first.
    DeflateBits &Code(std::uint32_t code, unsigned length);

    /// Zeros up to the next whole byte.
    DeflateBits &ToByte();

    /// A block as it is. Its size is written twice, the second time with these bits turned.
    DeflateBits &Stored(std::string_view plain, bool isFinal, std::uint32_t damage = 0);

    /// The header of a block with the fixed codes, and its symbols: literals, 256 for the end, lengths from 257 on.
    DeflateBits &FixedHeader(bool isFinal);
    DeflateBits &FixedSymbol(std::uint32_t symbol);
    DeflateBits &FixedText(std::string_view plain);
    DeflateBits &FixedDistance(std::uint32_t symbol) { return Code(symbol, 5); }

    /// The header of a block with codes of these lengths, each length in four bits. The end of the block is the last
    /// literal code.
    DeflateBits &DynamicHeader(bool isFinal, const std::vector<unsigned> &literals,
                               const std::vector<unsigned> &distances);

    /// Up to here, in whole bytes.
    std::string Bytes() const { return mBytes; }

    /// The bytes as a zlib stream, with the checksum of what they stand for.
    std::string Zlib(std::string_view plain, std::string_view header = "\x78\x9C") const;

private:
    std::string mBytes;
    unsigned mFilled = 0; ///< bits of the last byte
};

/// The code that symbol `symbol` has among codes of these lengths.
std::uint32_t CanonicalCode(const std::vector<unsigned> &lengths, std::size_t symbol);
} // namespace Keld::Test
