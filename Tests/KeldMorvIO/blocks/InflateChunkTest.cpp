#include "KeldMorvIO/blocks/InflateVerdict.h"
#include "KeldMorvIO/blocks/Pipe.h"
#include "Support/CompressedStream.h"
#include "Support/DeflateBits.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <string>
#include <vector>

#include <fcntl.h>

// Where a stream ends among the chunks of its input, and what is left of it when it is cut.
namespace Keld::MORV::Reader
{
using Keld::Test::BlockRow;
using Keld::Test::DeflateBits;
using Keld::Test::ExpectAgreement;
using Keld::Test::ExpectVerdict;
using Keld::Test::PatternedBytes;
using Keld::Test::RandomBytes;
using Keld::Test::SizeOf;
using Keld::Test::StreamFile;

namespace
{
constexpr uint32 SmallChunk = ChunkedInput::MostKept;

/// Three blocks, one of each kind, with repeats of what lies in the blocks before.
std::string ThreeBlocks(std::string &plain)
{
    plain = RandomBytes(400, 7);
    DeflateBits bits;
    bits.Stored(plain, false);
    bits.FixedHeader(false).FixedText("fixed").FixedSymbol(285).FixedDistance(16).Bits(20, 7).FixedSymbol(256);
    plain += "fixed";
    plain += plain.substr(plain.size() - 277, 258);
    std::vector<unsigned> literals(257, 9);
    std::fill_n(literals.begin(), 255, 8);
    bits.DynamicHeader(true, literals, {1, 1});
    for (unsigned index = 0; index < 300; ++index)
    {
        bits.Code(index % 255, 8);
        plain += static_cast<char>(index % 255);
    }
    bits.Code(Keld::Test::CanonicalCode(literals, 256), 9);
    return bits.Zlib(plain);
}

TEST(InflateChunkTest, StreamsCutAtEveryByte)
{
    std::string plain;
    const std::string stream = ThreeBlocks(plain);
    ExpectVerdict(true, stream, plain);
    for (std::size_t length = 1; length < stream.size(); ++length)
    {
        SCOPED_TRACE(length);
        const StreamFile cut(stream.substr(0, length));
        EXPECT_FALSE(ExpectAgreement(cut, plain.size(), 0x40000, SmallChunk));
        BlockRow blocks = BlockRow::Of(plain.size());
        EXPECT_FALSE(DecompressZlib(cut.File(), 0, cut.Size(), blocks.Data(), blocks.Count()));
    }
}

TEST(InflateChunkTest, StreamsWithEveryByteTurned)
{
    std::string plain;
    const std::string stream = ThreeBlocks(plain);
    for (std::size_t index = 0; index < stream.size(); ++index)
    {
        for (const int turned : {1, 0x10, 0xFF})
        {
            SCOPED_TRACE(index);
            std::string damaged = stream;
            damaged[index] = static_cast<char>(damaged[index] ^ turned);
            const StreamFile file(damaged);
            ExpectAgreement(file, plain.size(), 100, SmallChunk);
            ExpectAgreement(file, plain.size(), 0x40000, InputChunkSize);
        }
    }
}

TEST(InflateChunkTest, EndsAroundTheBorderOfSmallChunks)
{
    // A stored block moves what follows, byte by byte, over the border: all that can stand behind the last content.
    for (std::size_t filler = 300; filler < 600; ++filler)
    {
        for (const int empty : {0, 1, 3})
        {
            const std::string stored = RandomBytes(filler, 8);
            DeflateBits bits;
            bits.Stored(stored, false).FixedHeader(false).FixedText("last").FixedSymbol(285).FixedDistance(0);
            bits.FixedSymbol(256);
            for (int index = 0; index < empty; ++index)
            {
                bits.Stored("", false).FixedHeader(false).FixedSymbol(256);
            }
            const std::string plain = stored + "last" + std::string(258, 't');
            const StreamFile file(bits.FixedHeader(true).FixedSymbol(256).Zlib(plain));
            SCOPED_TRACE(std::to_string(filler) + ", empty blocks: " + std::to_string(empty));
            ExpectAgreement(file, plain.size(), 0x40000, SmallChunk);
            ExpectAgreement(file, plain.size(), 3, SmallChunk);
        }
    }
}

TEST(InflateChunkTest, EndsThatLieAloneInTheLastChunk)
{
    // Whatever follows the last byte of content: empty blocks, the last block's end, the checksum.
    for (std::size_t above = 0; above <= 40; ++above)
    {
        for (const int empty : {0, 1, 5})
        {
            DeflateBits tail;
            for (int index = 0; index < empty; ++index)
            {
                tail.Stored("", false);
            }
            tail.FixedHeader(true).FixedSymbol(256);
            // The head and the checksum of the stream, and the heads of the two blocks that hold the content.
            const std::size_t extra = tail.Bytes().size() + 6 + std::size_t{2} * 5;
            const std::string plain = RandomBytes(65536 + above - extra, 5);
            DeflateBits bits;
            bits.Stored(plain.substr(0, 65000), false).Stored(plain.substr(65000), false);
            for (int index = 0; index < empty; ++index)
            {
                bits.Stored("", false);
            }
            bits.FixedHeader(true).FixedSymbol(256);
            const std::string stream = bits.Zlib(plain);
            ASSERT_EQ(stream.size(), 65536 + above);
            SCOPED_TRACE(std::to_string(above) + " above, empty blocks: " + std::to_string(empty));
            const std::size_t behind = tail.Bytes().size() + 4;
            ExpectVerdict(above == 0 || above > behind, stream, plain);
        }
    }
}

TEST(InflateChunkTest, SymbolsOnTheBorderOfTheLastChunk)
{
    // The last literals lie around the end of the first chunk, nine bits each, at every place in a byte.
    for (std::size_t filler = 65536 - 2 - 5 - 30; filler < 65536 - 2 - 5; ++filler)
    {
        for (unsigned shift = 0; shift < 4; ++shift)
        {
            const std::string stored = RandomBytes(filler, 6);
            const std::string text(20, '\xFF');
            DeflateBits bits;
            bits.Stored(stored, false);
            for (unsigned block = 0; block < shift; ++block)
            {
                bits.FixedHeader(false).FixedSymbol(256);
            }
            bits.FixedHeader(true).FixedText(text).FixedSymbol(256);
            const std::string plain = stored + text;
            const StreamFile file(bits.Zlib(plain));
            BlockRow byAdapter = BlockRow::Of(plain.size());
            const bool good = ExpectAgreement(file, plain.size(), 0x40000, InputChunkSize);
            EXPECT_EQ(DecompressZlib(file.File(), 0, file.Size(), byAdapter.Data(), byAdapter.Count()), good)
                << filler << ' ' << shift;
        }
    }
}

TEST(InflateChunkTest, PipesGiveTheirBytesOnce)
{
    // A lone distance code is not for the first try, so zlib starts over, at the end of one chunk or of the second.
    for (const std::size_t size : {std::size_t{1000}, std::size_t{100000}})
    {
        const std::string stored = RandomBytes(size, 9);
        DeflateBits bits;
        for (std::size_t offset = 0; offset < size; offset += 50000)
        {
            bits.Stored(stored.substr(offset, 50000), false);
        }
        std::vector<unsigned> literals(257, 9);
        std::fill_n(literals.begin(), 255, 8);
        bits.DynamicHeader(true, literals, {1}).Code(0, 8).Code(Keld::Test::CanonicalCode(literals, 256), 9);
        const std::string plain = stored + '\0';
        const std::string stream = bits.Zlib(plain);
        const Keld::Test::Pipe pipe;
        ASSERT_GE(fcntl(static_cast<int>(pipe.File()), F_SETPIPE_SZ, 1 << 18), 1 << 18);
        ASSERT_EQ(fcntl(static_cast<int>(pipe.File()), F_SETFL, O_NONBLOCK), 0); // a second read would wait for ever
        pipe.Write(stream);
        BlockRow blocks = BlockRow::Of(plain.size());
        EXPECT_TRUE(DecompressZlib(pipe.File(), 0, SizeOf(stream), blocks.Data(), blocks.Count()));
        EXPECT_TRUE(blocks.Content() == plain);
    }
}
} // namespace
} // namespace Keld::MORV::Reader
