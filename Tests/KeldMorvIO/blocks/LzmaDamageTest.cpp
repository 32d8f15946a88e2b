#include "KeldMorvIO/blocks/LzmaAdapterFixture.h"
#include "Support/CompressedStream.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::MORV::Reader
{
using Test::BlockRow;
using Test::EndMark;
using Test::LzmaFile;
using Test::LzmaHeader;
using Test::PatternedBytes;
using Test::RandomBytes;
using Test::SizeOf;
using Test::StoredLzma2Chunk;

namespace
{
using LzmaDamageTest = Keld::Test::LzmaAdapterFixture;

TEST_F(LzmaDamageTest, RefusesStrayBytesBehindTheStream)
{
    const std::string plain = PatternedBytes(1000, 10);
    for (const std::string &stray : {std::string(1, '\0'), std::string("stray"), std::string(70000, 'x')})
    {
        BlockRow blocks = BlockRow::Of(plain.size());
        EXPECT_FALSE(Decode(LzmaFile(plain) + stray, blocks));
        EXPECT_EQ(blocks.Content(), plain);
        std::string room(plain.size(), '#');
        EXPECT_FALSE(DecodeMemory(LzmaFile(plain) + stray, room));
    }
    mLog.ExpectAll({});
}

TEST_F(LzmaDamageTest, RefusesAStreamWithoutItsEndMark)
{
    for (const std::size_t size : {std::size_t{1000}, std::size_t{200000}})
    {
        const std::string plain = RandomBytes(size, 11);
        std::string bytes = LzmaFile(plain);
        ASSERT_EQ(bytes.back(), '\0');
        bytes.pop_back();
        BlockRow blocks = BlockRow::Of(size);
        EXPECT_FALSE(Decode(bytes, blocks));
        EXPECT_TRUE(blocks.Content() == plain);
        std::string room(size, '#');
        EXPECT_FALSE(DecodeMemory(bytes, room));
    }
    mLog.ExpectAll({});
}

TEST_F(LzmaDamageTest, RefusesEveryTruncatedStream)
{
    const std::string bytes = LzmaFile(PatternedBytes(400, 12));
    for (uint32 length = 9; length < bytes.size(); ++length)
    {
        SCOPED_TRACE(length);
        BlockRow blocks = BlockRow::Of(400);
        EXPECT_FALSE(DecodeRange(bytes, 0, length, blocks));
        EXPECT_FALSE(DecodeRange(bytes.substr(0, length), 0, SizeOf(bytes), blocks));
        std::string room(400, '#');
        EXPECT_FALSE(DecodeMemory(bytes.substr(0, length), room));
    }
    mLog.ExpectAll({});
}

TEST_F(LzmaDamageTest, RefusesAStreamThatIsShorterOrLongerThanTheBlocks)
{
    const std::string bytes = LzmaFile(PatternedBytes(1000, 13));
    for (const std::size_t size : {1U, 999U, 1001U, 5000U})
    {
        BlockRow blocks = BlockRow::Of(size, 300);
        EXPECT_FALSE(Decode(bytes, blocks)) << size;
        std::string room(size, '#');
        EXPECT_FALSE(DecodeMemory(bytes, room)) << size;
    }
}

TEST_F(LzmaDamageTest, EndsForEveryFlippedBit)
{
    const std::string plain = PatternedBytes(120, 14);
    const std::string bytes = LzmaFile(plain);
    std::size_t refused = 0;
    for (std::size_t bit = 72; bit < bytes.size() * 8; ++bit)
    {
        std::string damaged = bytes;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
        BlockRow blocks = BlockRow::Of(plain.size());
        refused += Decode(damaged, blocks) ? 0U : 1U;
        std::string room(plain.size(), '#');
        DecodeMemory(damaged, room);
    }
    // The stream has no checksum: a bit may come out as another byte of the same length. Its framing must not give.
    EXPECT_GT(refused, bytes.size());
    mLog.ExpectAll({});
}

TEST_F(LzmaDamageTest, RefusesAStreamThatDoesNotBeginWithADictionaryReset)
{
    BlockRow blocks({5});
    EXPECT_FALSE(Decode(LzmaHeader(10) + StoredLzma2Chunk("plain", 2) + EndMark, blocks));
    EXPECT_TRUE(Decode(LzmaHeader(10) + StoredLzma2Chunk("plain", 1) + EndMark, blocks));
    EXPECT_FALSE(Decode(LzmaHeader(10) + StoredLzma2Chunk("plain", 3) + EndMark, blocks));
}

TEST_F(LzmaDamageTest, FeedsTheOldChunkAgainWhenAReadFails)
{
    // The file ends with the first chunk of input, in the middle of the stream's data: its first bytes come again.
    const std::string data = RandomBytes(65536, 15);
    const std::string bytes = LzmaHeader(10) + StoredLzma2Chunk(data, 1) + EndMark;
    const std::string chunk = bytes.substr(0, 65536);
    BlockRow blocks = BlockRow::Of(data.size());
    EXPECT_FALSE(DecodeRange(chunk, 0, SizeOf(bytes), blocks));
    EXPECT_TRUE(blocks.Content() == data.substr(0, 65524) + chunk.substr(0, 12));
    mLog.ExpectAll({});
}

TEST_F(LzmaDamageTest, FeedsTheWholeBufferAgainWhenAStreamInMemoryWantsMore)
{
    const std::string data = "some plain bytes";
    const std::string bytes = LzmaHeader(10) + StoredLzma2Chunk(data, 1);
    std::string room(data.size(), '#');
    EXPECT_FALSE(DecodeMemory(bytes.substr(0, bytes.size() - 6), room));
    EXPECT_EQ(room, data.substr(0, 10) + bytes.substr(0, 6));
    mLog.ExpectAll({});
}
} // namespace
} // namespace Keld::MORV::Reader
