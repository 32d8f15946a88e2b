#include "KeldMorvIO/blocks/LzmaAdapter.h"

#include "KeldMorvIO/blocks/LzmaAdapterFixture.h"
#include "KeldMorvIO/blocks/LzmaInBuffer.h"
#include "Support/CompressedStream.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::MORV::Reader
{
using Keld::Test::BlockRow;
using Keld::Test::EndMark;
using Keld::Test::LzmaFile;
using Keld::Test::LzmaHeader;
using Keld::Test::PatternedBytes;
using Keld::Test::RandomBytes;
using Keld::Test::SizeOf;
using Keld::Test::StoredLzma2Chunk;

namespace
{
constexpr const char *WorkerSignature =
    "bool Keld::MORV::Reader::DecompressLzma(ILzmaIn &, UncompressedBlock *, uint32)";

/// A source that gives what a test puts into it.
class ScriptedSource final : public ILzmaIn
{
public:
    bool Read(const void *&data, uint32 &size) override
    {
        ++mReads;
        data = mData;
        size = mChunk;
        return mGood;
    }
    uint32 GetSize() override { return mSize; }
    uint32 GetRemaining() override { return mSize - mChunk; }

    const void *mData = nullptr;
    uint32 mChunk = 0;
    uint32 mSize = 0;
    bool mGood = true;
    int mReads = 0;
};

using LzmaAdapterTest = Keld::Test::LzmaAdapterFixture;

TEST_F(LzmaAdapterTest, FillsBlocksFromARangeOfAFileAtEverySize)
{
    for (const std::size_t size : Keld::Test::TellingSizes)
    {
        for (const std::string &plain : {RandomBytes(size, 1), PatternedBytes(size, 2)})
        {
            SCOPED_TRACE(size);
            const std::string bytes = LzmaFile(plain);
            BlockRow blocks = BlockRow::Of(size);
            EXPECT_TRUE(DecodeRange("before" + bytes + "behind", 6, SizeOf(bytes), blocks));
            EXPECT_TRUE(blocks.Content() == plain);
            std::string room(size, '#');
            EXPECT_TRUE(DecodeMemory(bytes, room));
            EXPECT_TRUE(room == plain);
        }
    }
    mLog.ExpectAll({});
}

TEST_F(LzmaAdapterTest, FillsBlocksOfAnySizes)
{
    const std::string plain = PatternedBytes(1000, 3);
    BlockRow blocks({1, 2, 500, 3, 494});
    EXPECT_TRUE(Decode(LzmaFile(plain), blocks));
    EXPECT_EQ(blocks.Content(), plain);
}

TEST_F(LzmaAdapterTest, TakesEveryCompressedSizeAroundAChunkOfInput)
{
    for (const std::size_t boundary : {std::size_t{65536}, std::size_t{131072}})
    {
        for (std::size_t size = boundary - 8; size <= boundary + 8; ++size)
        {
            SCOPED_TRACE(size);
            const std::string first = RandomBytes(boundary == 65536 ? 1 : 65536, 4);
            const std::string second = RandomBytes(60000, 5);
            std::string bytes = LzmaHeader(10) + StoredLzma2Chunk(first, 1) + StoredLzma2Chunk(second, 2);
            const std::string third = RandomBytes(size - bytes.size() - 3 - 1, 6);
            bytes += StoredLzma2Chunk(third, 2) + EndMark;
            ASSERT_EQ(bytes.size(), size);
            BlockRow blocks = BlockRow::Of(first.size() + second.size() + third.size(), 50000);
            EXPECT_TRUE(Decode(bytes, blocks));
            EXPECT_TRUE(blocks.Content() == first + second + third);
        }
    }
}

TEST_F(LzmaAdapterTest, TakesRealStreamsWhoseEndLiesAroundAChunkOfInput)
{
    const std::string text = PatternedBytes(150000, 7);
    const auto plainWith = [&text](std::size_t noise)
    {
        return text + RandomBytes(noise, 8) + PatternedBytes(300, 9);
    };
    const std::size_t guess = 65536 - LzmaFile(text).size();
    const std::size_t fitting = guess + 65536 - LzmaFile(plainWith(guess)).size();
    std::size_t near = 0;
    for (std::size_t noise = fitting - 10; noise < fitting + 20; ++noise)
    {
        const std::string plain = plainWith(noise);
        const std::string bytes = LzmaFile(plain);
        SCOPED_TRACE(bytes.size());
        near += bytes.size() > 65536 && bytes.size() <= 65546 ? 1U : 0U;
        BlockRow blocks = BlockRow::Of(plain.size());
        EXPECT_TRUE(Decode(bytes, blocks));
        EXPECT_TRUE(blocks.Content() == plain);
    }
    EXPECT_GE(near, 5U) << "streams whose last few bytes lie in a second chunk";
}

TEST_F(LzmaAdapterTest, SkipsTheEightBytesBehindTheProperty)
{
    const std::string plain = PatternedBytes(1000, 8);
    std::string bytes = LzmaFile(plain);
    for (const char mark : {'\0', '\x7F', '\xFF'})
    {
        bytes.replace(1, 8, std::string(8, mark));
        BlockRow blocks = BlockRow::Of(plain.size());
        EXPECT_TRUE(Decode(bytes, blocks));
        EXPECT_EQ(blocks.Content(), plain);
    }
}

TEST_F(LzmaAdapterTest, TakesEveryDictionaryPropertyUpToForty)
{
    const std::string plain = PatternedBytes(10000, 9);
    std::string bytes = LzmaFile(plain, 4);
    for (int property = 4; property <= 40; ++property)
    {
        bytes[0] = static_cast<char>(property);
        BlockRow blocks = BlockRow::Of(plain.size());
        EXPECT_TRUE(Decode(bytes, blocks)) << property;
        EXPECT_EQ(blocks.Content(), plain);
    }
    mLog.ExpectAll({});
}

TEST_F(LzmaAdapterTest, RefusesADictionaryPropertyAboveForty)
{
    for (const int property : {41, 64, 128, 255})
    {
        std::string bytes = LzmaFile("plain");
        bytes[0] = static_cast<char>(property);
        BlockRow blocks({5});
        EXPECT_FALSE(Decode(bytes, blocks)) << property;
        mLog.ExpectAll({Keld::Test::Error("Allocating the lzma compression state failed.", WorkerSignature)});
        std::string room(5, '#');
        EXPECT_FALSE(DecodeMemory(bytes, room));
        mLog.ExpectAll({Keld::Test::Error("Allocating the lzma compression state failed.", WorkerSignature)});
    }
}

TEST_F(LzmaAdapterTest, RefusesASourceOfEightBytesOrFewer)
{
    for (uint32 size = 1; size <= 8; ++size)
    {
        BlockRow blocks({5});
        EXPECT_FALSE(DecodeRange(LzmaFile("plain"), 0, size, blocks)) << size;
        mLog.ExpectAll({Keld::Test::Error("Source data is too small to be valid.", WorkerSignature)});
    }
}

TEST_F(LzmaAdapterTest, HandsASourceOfNineBytesToTheDecoder)
{
    BlockRow blocks({5});
    EXPECT_FALSE(DecodeRange(LzmaFile("plain"), 0, 9, blocks));
    mLog.ExpectAll({});
    EXPECT_FALSE(DecodeRange(LzmaHeader(41), 0, 9, blocks));
    mLog.ExpectAll({Keld::Test::Error("Allocating the lzma compression state failed.", WorkerSignature)});
    std::string room(5, '#');
    EXPECT_FALSE(DecodeMemory(LzmaHeader(0), room));
    EXPECT_FALSE(DecodeMemory(LzmaHeader(24), room));
    mLog.ExpectAll({});
}

TEST_F(LzmaAdapterTest, GivesFalseWithoutALineWhenTheFirstChunkIsMissingOrTooShort)
{
    const std::string bytes = LzmaFile("plain");
    BlockRow blocks({5});
    ScriptedSource source;
    source.mSize = SizeOf(bytes);
    source.mChunk = SizeOf(bytes);
    EXPECT_FALSE(DecompressLzma(source, blocks.Data(), 1)) << "null data";
    source.mData = bytes.data();
    source.mChunk = 8;
    EXPECT_FALSE(DecompressLzma(source, blocks.Data(), 1)) << "eight bytes";
    source.mChunk = SizeOf(bytes);
    source.mGood = false;
    EXPECT_FALSE(DecompressLzma(source, blocks.Data(), 1)) << "a failed read";
    mLog.ExpectAll({});
    source.mGood = true;
    EXPECT_TRUE(DecompressLzma(source, blocks.Data(), 1));
    EXPECT_EQ(blocks.Content(), "plain");
}

TEST_F(LzmaAdapterTest, TestsTheSourceBeforeItFindsThatThereAreNoBlocks)
{
    BlockRow blocks({5});
    ScriptedSource source;
    source.mSize = 8;
    EXPECT_FALSE(DecompressLzma(source, blocks.Data(), 0));
    mLog.ExpectAll({Keld::Test::Error("Source data is too small to be valid.", WorkerSignature)});
    const std::string bytes = LzmaHeader(41);
    LzmaInBuffer bad(bytes.data(), SizeOf(bytes));
    EXPECT_FALSE(DecompressLzma(bad, blocks.Data(), 0));
    mLog.ExpectAll({Keld::Test::Error("Allocating the lzma compression state failed.", WorkerSignature)});
    const std::string whole = LzmaHeader(0) + EndMark;
    LzmaInBuffer good(whole.data(), SizeOf(whole));
    EXPECT_FALSE(DecompressLzma(good, blocks.Data(), 0));
    mLog.ExpectAll({});
}

TEST_F(LzmaAdapterTest, TestsTheBlocksBeforeTheSource)
{
    char room[5];
    UncompressedBlock blocks[] = {{room, 5}, {nullptr, 5}};
    ScriptedSource source;
    EXPECT_FALSE(DecompressLzma(source, blocks, 2));
    EXPECT_EQ(source.mReads, 0);
    mLog.ExpectAll({});
}

TEST_F(LzmaAdapterTest, KeepsAllBitsOfTheOffset)
{
    const std::string plain = RandomBytes(100000, 16);
    const std::string bytes = LzmaFile(plain);
    const std::string path = mTree.Write("data", std::string(SizeOf(bytes) + 100, 'x'));
    constexpr uint64 offset = (uint64{1} << 32) + 100;
    ASSERT_TRUE(Keld::Test::WriteSparse(path, offset, bytes));
    BlockRow blocks = BlockRow::Of(plain.size());
    EXPECT_TRUE(DecompressLzma(path.c_str(), offset, SizeOf(bytes), blocks.Data(), blocks.Count()));
    EXPECT_TRUE(blocks.Content() == plain);
    ASSERT_TRUE(Keld::Test::WriteSparse(path, 0xFFFFFF00, bytes));
    EXPECT_TRUE(DecompressLzma(path.c_str(), 0xFFFFFF00, SizeOf(bytes), blocks.Data(), blocks.Count()));
}

TEST_F(LzmaAdapterTest, ClosesTheCallersFileButKeepsItsNumberOnEveryWayOut)
{
    const std::string bytes = LzmaFile("plain");
    BlockRow blocks({5});
    EXPECT_TRUE(Decode(bytes, blocks));
    EXPECT_FALSE(DecodeRange(bytes, 0, 8, blocks)) << "too small";
    EXPECT_FALSE(DecodeRange(bytes, 1000, 100, blocks)) << "behind the end";
    EXPECT_FALSE(Decode(LzmaHeader(41), blocks)) << "no memory for that";
    EXPECT_FALSE(Decode(LzmaHeader(1) + "damaged", blocks));
    UncompressedBlock withoutMemory = {nullptr, 5};
    AsyncFile file = Open(bytes);
    EXPECT_FALSE(DecompressLzma(file, 0, SizeOf(bytes), &withoutMemory, 1));
    EXPECT_TRUE(Keld::Test::IsClosedButTaken(file));
    char room[1];
    UncompressedBlock empty = {room, 0};
    file = Open(bytes);
    EXPECT_FALSE(DecompressLzma(file, 0, SizeOf(bytes), &empty, 1));
    EXPECT_TRUE(Keld::Test::IsClosedButTaken(file));
}

TEST_F(LzmaAdapterTest, RefusesArgumentsOfZeroWithoutALineAndLeavesTheHandleOpen)
{
    const std::string bytes = LzmaFile("plain");
    const uint32 size = SizeOf(bytes);
    const AsyncFile file = Open(bytes);
    const std::string path = mTree.Path("data");
    BlockRow blocks({5});
    char room[5];
    const char *const noPath = nullptr;
    UncompressedBlock *const noBlocks = nullptr;
    void *const noRoom = nullptr;
    EXPECT_FALSE(DecompressLzma(AsyncFile::Null, 0, size, blocks.Data(), 1));
    EXPECT_FALSE(DecompressLzma(file, 0, 0, blocks.Data(), 1));
    EXPECT_FALSE(DecompressLzma(file, 0, size, noBlocks, 1));
    EXPECT_FALSE(DecompressLzma(file, 0, size, blocks.Data(), 0));
    EXPECT_TRUE(Keld::Test::IsOpenDescriptor(file));
    AsyncClose(file);
    EXPECT_FALSE(DecompressLzma(noPath, 0, size, blocks.Data(), 1));
    EXPECT_FALSE(DecompressLzma(path.c_str(), 0, 0, blocks.Data(), 1));
    EXPECT_FALSE(DecompressLzma(path.c_str(), 0, size, noBlocks, 1));
    EXPECT_FALSE(DecompressLzma(path.c_str(), 0, size, blocks.Data(), 0));
    EXPECT_FALSE(DecompressLzma(noPath, 0, size, room, 5));
    EXPECT_FALSE(DecompressLzma(path.c_str(), 0, 0, room, 5));
    EXPECT_FALSE(DecompressLzma(path.c_str(), 0, size, noRoom, 5));
    EXPECT_FALSE(DecompressLzma(path.c_str(), 0, size, room, 0));
    EXPECT_FALSE(DecompressLzma(nullptr, size, room, 5));
    EXPECT_FALSE(DecompressLzma(bytes.data(), 0, room, 5));
    EXPECT_FALSE(DecompressLzma(bytes.data(), size, noRoom, 5));
    EXPECT_FALSE(DecompressLzma(bytes.data(), size, room, 0));
    mLog.ExpectAll({});
}
} // namespace
} // namespace Keld::MORV::Reader
