#include "KeldMorvIO/blocks/InflateVerdict.h"
#include "Support/CompressedStream.h"
#include "Support/DeflateBits.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

// What the adapter takes is what zlib takes, whichever decoder comes first.
namespace Keld::MORV::Reader
{
using Keld::Test::CanonicalCode;
using Keld::Test::DeflateBits;
using Keld::Test::ExpectVerdict;
using Keld::Test::PatternedBytes;
using Keld::Test::RandomBytes;

namespace
{
/// 256 literals of which 'a' and 'b' have codes, then the end; with the length codes behind it.
std::vector<unsigned> Literals(unsigned a, unsigned b, unsigned end, const std::vector<unsigned> &lengths = {})
{
    std::vector<unsigned> all(257, 0);
    all['a'] = a;
    all['b'] = b;
    all[256] = end;
    all.insert(all.end(), lengths.begin(), lengths.end());
    return all;
}

/// One block with such codes that says "ab", or nothing where they have no such codes.
std::string DynamicStream(const std::vector<unsigned> &literals, const std::vector<unsigned> &distances)
{
    DeflateBits bits;
    bits.DynamicHeader(true, literals, distances);
    for (const std::size_t symbol : {std::size_t{'a'}, std::size_t{'b'}, std::size_t{256}})
    {
        bits.Code(CanonicalCode(literals, symbol), literals[symbol]);
    }
    return bits.Zlib("ab");
}

TEST(InflateAgreementTest, CodesOfLiteralsAndLengths)
{
    const std::vector<unsigned> distances = {1, 1};
    ExpectVerdict(true, DynamicStream(Literals(1, 2, 2), distances), "ab");
    ExpectVerdict(false, DynamicStream(Literals(2, 2, 2), distances), "ab");
    ExpectVerdict(false, DynamicStream(Literals(1, 3, 3), distances), "ab");
    ExpectVerdict(false, DynamicStream(Literals(15, 15, 15), distances), "ab");
    ExpectVerdict(false, DynamicStream(Literals(1, 1, 1), distances), "ab");
    ExpectVerdict(false, DynamicStream(Literals(1, 1, 2), distances), "ab");
    ExpectVerdict(false, DynamicStream(Literals(1, 1, 0), distances), "ab");
    ExpectVerdict(true, DynamicStream(Literals(2, 2, 2, {2}), distances), "ab");
}

TEST(InflateAgreementTest, CodesOfDistances)
{
    const std::vector<unsigned> literals = Literals(1, 2, 2);
    ExpectVerdict(true, DynamicStream(literals, {0}), "ab");
    ExpectVerdict(true, DynamicStream(literals, {1}), "ab");
    ExpectVerdict(true, DynamicStream(literals, {0, 0, 1}), "ab");
    ExpectVerdict(false, DynamicStream(literals, {2}), "ab");
    ExpectVerdict(false, DynamicStream(literals, {2, 1}), "ab");
    ExpectVerdict(false, DynamicStream(literals, {1, 1, 1}), "ab");
    ExpectVerdict(true, DynamicStream(literals, {2, 2, 2, 3, 3}), "ab");
    ExpectVerdict(true, DynamicStream(literals, {1, 2, 3, 4, 5, 6, 7, 8, 9, 10, 11, 12, 13, 14, 15, 15}), "ab");
}

TEST(InflateAgreementTest, MoreCodesThanThereAre)
{
    for (const std::size_t count : {286U, 287U, 288U})
    {
        std::vector<unsigned> literals = Literals(1, 2, 2);
        literals.resize(count, 0);
        ExpectVerdict(count <= 286, DynamicStream(literals, {1, 1}), "ab");
    }
    for (const std::size_t count : {30U, 31U, 32U})
    {
        std::vector<unsigned> distances(count, 0);
        distances[0] = distances[1] = 1;
        ExpectVerdict(count <= 30, DynamicStream(Literals(1, 2, 2), distances), "ab");
    }
}

TEST(InflateAgreementTest, CodesOfCodeLengths)
{
    // One code in all, none, too many, and repeats of nothing or too far. None of them gets as far as its first byte.
    const std::vector<std::vector<unsigned>> lengthCodes = {{0, 0, 0, 1}, {0, 0, 0, 0}, {1, 1, 1, 1},
                                                            {2, 2, 2, 0}, {2, 2, 2, 2}, {7, 7, 7, 7}};
    for (const std::vector<unsigned> &code : lengthCodes)
    {
        DeflateBits bits;
        bits.Bits(5, 3).Bits(0, 5).Bits(1, 5).Bits(0, 4);
        for (const unsigned length : code)
        {
            bits.Bits(length, 3);
        }
        for (int index = 0; index < 60; ++index)
        {
            bits.Bits(index % 3 == 0 ? 0xFFFF : 0, 16);
        }
        ExpectVerdict(false, bits.Zlib("ab"), "ab");
    }
}

TEST(InflateAgreementTest, SymbolsThatMeanNothing)
{
    ExpectVerdict(true, DeflateBits().FixedHeader(true).FixedText("ab").FixedSymbol(256).Zlib("ab"), "ab");
    const std::string copied = "abababababab";
    const auto match = [](std::uint32_t length, std::uint32_t distance)
    {
        return DeflateBits().FixedHeader(true).FixedText("ab").FixedSymbol(length).FixedDistance(distance);
    };
    ExpectVerdict(true, match(264, 1).FixedSymbol(256).Zlib(copied), copied);
    for (const std::uint32_t length : {286U, 287U})
    {
        ExpectVerdict(false, match(length, 1).FixedSymbol(256).Zlib(copied), copied);
    }
    for (const std::uint32_t distance : {30U, 31U})
    {
        ExpectVerdict(false, match(264, distance).FixedSymbol(256).Zlib(copied), copied);
    }
    const std::string longest = "ab" + std::string(258, 'b');
    ExpectVerdict(true, match(285, 0).FixedSymbol(256).Zlib(longest), longest);
    ExpectVerdict(true,
                  DeflateBits()
                      .FixedHeader(true)
                      .FixedText("ab")
                      .FixedSymbol(284)
                      .Bits(31, 5)
                      .FixedDistance(0)
                      .FixedSymbol(256)
                      .Zlib(longest),
                  longest);
}

TEST(InflateAgreementTest, DistancesThatReachTooFar)
{
    const std::string copied = "ababa";
    const auto match = [](std::uint32_t distance)
    {
        return DeflateBits().FixedHeader(true).FixedText("ab").FixedSymbol(257).FixedDistance(distance);
    };
    ExpectVerdict(true, match(1).FixedSymbol(256).Zlib(copied), copied);
    ExpectVerdict(false, match(2).FixedSymbol(256).Zlib(copied), copied);
    ExpectVerdict(false, match(29).Bits(0, 13).FixedSymbol(256).Zlib(copied), copied);
}

TEST(InflateAgreementTest, DistancesBeyondTheWindowOfTheHeader)
{
    const std::string plain = RandomBytes(3000, 1);
    std::string whole = plain + plain.substr(0, 258);
    DeflateBits bits;
    bits.Stored(plain, false).FixedHeader(true).FixedSymbol(285).FixedDistance(22).Bits(3000 - 2049, 10);
    bits.FixedSymbol(256);
    for (const char *const header : {"\x78\x9C", "\x18\x19", "\x08\x1D", "\x48\x89"})
    {
        ExpectVerdict(true, bits.Zlib(whole, header), whole);
    }
}

TEST(InflateAgreementTest, HeadersOfTheStream)
{
    const DeflateBits bits = DeflateBits().FixedHeader(true).FixedText("ab").FixedSymbol(256);
    ExpectVerdict(true, bits.Zlib("ab", "\x78\x01"), "ab");
    ExpectVerdict(true, bits.Zlib("ab", "\x78\xDA"), "ab");
    ExpectVerdict(false, bits.Zlib("ab", "\x78\x9D"), "ab");
    ExpectVerdict(false, bits.Zlib("ab", "\x88\x1C"), "ab");
    ExpectVerdict(false, bits.Zlib("ab", "\x77\x85"), "ab");
    ExpectVerdict(false, bits.Zlib("ab", "\x78\xBB"), "ab");
    ExpectVerdict(false, bits.Zlib("ab", "\x1F\x8B"), "ab");
}

TEST(InflateAgreementTest, StoredBlocks)
{
    const std::string plain = RandomBytes(700, 2);
    ExpectVerdict(true, DeflateBits().Stored(plain, true).Zlib(plain), plain);
    ExpectVerdict(true, DeflateBits().Stored("", false).Stored(plain, false).Stored("", true).Zlib(plain), plain);
    ExpectVerdict(false, DeflateBits().Stored(plain, true, 1).Zlib(plain), plain);
    ExpectVerdict(false, DeflateBits().Stored(plain, true, 0xFFFF).Zlib(plain), plain);
    ExpectVerdict(false, DeflateBits().Stored(plain, false).Bits(7, 3).Zlib(plain), plain);
    ExpectVerdict(false, DeflateBits().Stored(plain, false).Zlib(plain), plain);
}

TEST(InflateAgreementTest, BlocksAfterOneAnother)
{
    const std::string plain = PatternedBytes(50000, 3);
    for (unsigned shift = 0; shift < 8; ++shift)
    {
        DeflateBits bits;
        for (unsigned block = 0; block < shift; ++block)
        {
            bits.FixedHeader(false).FixedSymbol(256); // ten bits each, so that the next begins anywhere in a byte
        }
        bits.FixedHeader(false).FixedText(plain).FixedSymbol(256);
        bits.FixedHeader(false).FixedSymbol(285).FixedDistance(29).Bits(8191, 13).FixedSymbol(256);
        bits.DynamicHeader(true, Literals(1, 2, 2), {1, 1}).Code(0, 1).Code(3, 2);
        const std::string whole = plain + plain.substr(plain.size() - 32768, 258) + "a";
        SCOPED_TRACE(shift);
        ExpectVerdict(true, bits.Zlib(whole), whole);
    }
}

TEST(InflateAgreementTest, ChecksumsAndStrayBytes)
{
    const std::string plain = PatternedBytes(3000, 4);
    const std::string stream = Keld::Test::ZlibStream(plain);
    ExpectVerdict(true, stream, plain);
    for (std::size_t byte = 1; byte <= 4; ++byte)
    {
        std::string damaged = stream;
        damaged[damaged.size() - byte] = static_cast<char>(damaged[damaged.size() - byte] ^ 1);
        ExpectVerdict(false, damaged, plain);
        ExpectVerdict(false, stream.substr(0, stream.size() - byte), plain);
    }
    ExpectVerdict(false, stream + "x", plain);
    ExpectVerdict(false, stream, plain + "x");
    ExpectVerdict(false, stream, plain.substr(1));
}
} // namespace
} // namespace Keld::MORV::Reader
