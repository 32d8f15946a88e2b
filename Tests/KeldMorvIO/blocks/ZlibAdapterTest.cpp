#include "KeldMorvIO/blocks/ZlibAdapter.h"

#include "KeldMorvIO/blocks/BlockRow.h"
#include "KeldMorvIO/blocks/Descriptors.h"
#include "Support/CompressedStream.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::MORV::Reader
{
using Keld::Test::BlockRow;
using Keld::Test::PatternedBytes;
using Keld::Test::RandomBytes;
using Keld::Test::SizeOf;
using Keld::Test::ZlibStream;

namespace
{
class ZlibAdapterTest : public testing::Test
{
protected:
    ~ZlibAdapterTest() override { AsyncClose(mFile); }

    void Open(std::string_view bytes)
    {
        AsyncClose(mFile);
        mFile = AsyncOpen(mTree.Write("data", bytes).c_str());
        ASSERT_NE(mFile, AsyncFile::Null);
    }

    /// The handle form over a whole file of these bytes.
    bool Inflate(const std::string &stream, BlockRow &blocks)
    {
        Open(stream);
        return DecompressZlib(mFile, 0, SizeOf(stream), blocks.Data(), blocks.Count());
    }

    Keld::Test::ReaderLogCapture mLog;
    Keld::Test::TempTree mTree;
    AsyncFile mFile = AsyncFile::Null;
};

TEST_F(ZlibAdapterTest, FillsBlocksFromARangeOfAFileAtEverySize)
{
    for (const std::size_t size : Keld::Test::TellingSizes)
    {
        for (const std::string &plain : {RandomBytes(size, 1), PatternedBytes(size, 2)})
        {
            SCOPED_TRACE(size);
            const std::string stream = ZlibStream(plain);
            Open("before" + stream + "behind");
            BlockRow blocks = BlockRow::Of(size);
            EXPECT_TRUE(DecompressZlib(mFile, 6, SizeOf(stream), blocks.Data(), blocks.Count()));
            EXPECT_TRUE(blocks.Content() == plain);
        }
    }
    mLog.ExpectAll({});
}

TEST_F(ZlibAdapterTest, FillsBlocksOfAnySizes)
{
    const std::string plain = PatternedBytes(1000, 3);
    BlockRow blocks({1, 2, 500, 3, 494});
    EXPECT_TRUE(Inflate(ZlibStream(plain), blocks));
    EXPECT_EQ(blocks.Content(), plain);
}

TEST_F(ZlibAdapterTest, LeavesTheHandleOpen)
{
    const std::string plain = "plain";
    BlockRow blocks({5});
    EXPECT_TRUE(Inflate(ZlibStream(plain), blocks));
    EXPECT_TRUE(Keld::Test::IsOpenDescriptor(mFile));
    EXPECT_FALSE(Inflate("no stream", blocks));
    EXPECT_TRUE(Keld::Test::IsOpenDescriptor(mFile));
}

TEST_F(ZlibAdapterTest, RefusesAStreamWhoseTrailerLiesAloneInOneMoreChunk)
{
    for (const std::size_t boundary : {std::size_t{65536}, std::size_t{131072}})
    {
        for (std::size_t above = 0; above <= 6; ++above)
        {
            SCOPED_TRACE(boundary + above);
            const std::size_t size = boundary + above - 6 - 5 * (boundary / 65536);
            const std::string plain = RandomBytes(size, 4);
            const std::string stream = Keld::Test::StoredZlibStream(plain);
            ASSERT_EQ(stream.size(), boundary + above);
            BlockRow blocks = BlockRow::Of(size);
            EXPECT_EQ(Inflate(stream, blocks), above == 0 || above > 4);
            EXPECT_TRUE(blocks.Content() == plain);
            std::string memory(size, '#');
            EXPECT_TRUE(DecompressZlib(stream.data(), SizeOf(stream), memory.data(), SizeOf(memory)));
        }
    }
    mLog.ExpectAll({});
}

TEST_F(ZlibAdapterTest, RefusesStrayBytesBehindTheStream)
{
    const std::string plain = PatternedBytes(1000, 5);
    for (const std::string &stray : {std::string(1, '\0'), std::string("stray"), std::string(70000, 'x')})
    {
        BlockRow blocks = BlockRow::Of(plain.size());
        EXPECT_FALSE(Inflate(ZlibStream(plain) + stray, blocks));
    }
}

TEST_F(ZlibAdapterTest, RefusesEveryTruncatedStream)
{
    const std::string stream = ZlibStream(PatternedBytes(400, 6));
    for (uint32 length = 1; length < stream.size(); ++length)
    {
        SCOPED_TRACE(length);
        BlockRow blocks = BlockRow::Of(400);
        EXPECT_FALSE(Inflate(stream.substr(0, length), blocks));
        Open(stream);
        EXPECT_FALSE(DecompressZlib(mFile, 0, length, blocks.Data(), blocks.Count()));
    }
    mLog.ExpectAll({});
}

TEST_F(ZlibAdapterTest, RefusesARangeThatReachesBehindTheEndOfTheFile)
{
    const std::string stream = ZlibStream(RandomBytes(100000, 7));
    Open(stream);
    BlockRow blocks = BlockRow::Of(100000);
    EXPECT_FALSE(DecompressZlib(mFile, 0, SizeOf(stream) + 1, blocks.Data(), blocks.Count()));
    EXPECT_FALSE(DecompressZlib(mFile, 1000000, SizeOf(stream), blocks.Data(), blocks.Count()));
    mLog.ExpectAll({});
}

TEST_F(ZlibAdapterTest, RefusesAStreamThatIsShorterOrLongerThanTheBlocks)
{
    const std::string stream = ZlibStream(PatternedBytes(1000, 8));
    for (const std::size_t size : {1U, 999U, 1001U, 5000U})
    {
        BlockRow blocks = BlockRow::Of(size, 300);
        EXPECT_FALSE(Inflate(stream, blocks)) << size;
    }
}

TEST_F(ZlibAdapterTest, NeverGivesOtherBytesForAFlippedBit)
{
    const std::string plain = PatternedBytes(120, 9);
    const std::string stream = ZlibStream(plain);
    std::size_t accepted = 0;
    for (std::size_t bit = 0; bit < stream.size() * 8; ++bit)
    {
        std::string damaged = stream;
        damaged[bit / 8] = static_cast<char>(damaged[bit / 8] ^ (1 << bit % 8));
        BlockRow blocks = BlockRow::Of(plain.size());
        if (Inflate(damaged, blocks))
        {
            EXPECT_EQ(blocks.Content(), plain) << bit;
            ++accepted;
        }
    }
    EXPECT_LT(accepted, 8U) << "only the bits that fill up the last byte of the data have no meaning";
}

TEST_F(ZlibAdapterTest, RefusesAStreamThatNeedsADictionary)
{
    BlockRow blocks({5});
    EXPECT_FALSE(Inflate(std::string("\x78\x20\0\0\0\1\x4B\4\0", 9), blocks));
    mLog.ExpectAll({});
}

TEST_F(ZlibAdapterTest, DropsTheHighWordOfTheOffset)
{
    const std::string plain = PatternedBytes(1000, 10);
    const std::string stream = ZlibStream(plain);
    Open("before" + stream);
    BlockRow blocks = BlockRow::Of(plain.size());
    EXPECT_TRUE(DecompressZlib(mFile, (uint64{7} << 32) + 6, SizeOf(stream), blocks.Data(), blocks.Count()));
    EXPECT_EQ(blocks.Content(), plain);
}

TEST_F(ZlibAdapterTest, GoesOnAtTheStartOfTheFileBehindFourGibibytes)
{
    const std::string plain = RandomBytes(100000, 11);
    const std::string stream = ZlibStream(plain);
    Open(stream.substr(65536));
    ASSERT_TRUE(Keld::Test::WriteSparse(mTree.Path("data"), 0xFFFF0000, stream));
    BlockRow blocks = BlockRow::Of(plain.size());
    ASSERT_EQ(truncate(mTree.Path("data").c_str(), off_t{1} << 32), 0);
    EXPECT_TRUE(DecompressZlib(mFile, 0xFFFF0000, SizeOf(stream), blocks.Data(), blocks.Count()));
    EXPECT_TRUE(blocks.Content() == plain);
}

TEST_F(ZlibAdapterTest, RefusesBlocksThatAreEmptyOrWithoutMemory)
{
    const std::string stream = ZlibStream("plain");
    Open(stream);
    char room[5];
    UncompressedBlock withoutMemory[] = {{room, 2}, {nullptr, 3}};
    EXPECT_FALSE(DecompressZlib(mFile, 0, SizeOf(stream), withoutMemory, 2));
    UncompressedBlock empty[] = {{room, 5}, {room, 0}};
    EXPECT_FALSE(DecompressZlib(mFile, 0, SizeOf(stream), empty, 2));
    EXPECT_TRUE(DecompressZlib(mFile, 0, SizeOf(stream), empty, 1));
    mLog.ExpectAll({});
}

TEST_F(ZlibAdapterTest, RefusesArgumentsOfZeroWithoutALine)
{
    const std::string stream = ZlibStream("plain");
    const uint32 size = SizeOf(stream);
    Open(stream);
    const std::string path = mTree.Path("data");
    BlockRow blocks({5});
    char room[5];
    const char *const noPath = nullptr;
    UncompressedBlock *const noBlocks = nullptr;
    void *const noRoom = nullptr;
    EXPECT_FALSE(DecompressZlib(AsyncFile::Null, 0, size, blocks.Data(), 1));
    EXPECT_FALSE(DecompressZlib(mFile, 0, 0, blocks.Data(), 1));
    EXPECT_FALSE(DecompressZlib(mFile, 0, size, noBlocks, 1));
    EXPECT_FALSE(DecompressZlib(mFile, 0, size, blocks.Data(), 0));
    EXPECT_FALSE(DecompressZlib(noPath, 0, size, blocks.Data(), 1));
    EXPECT_FALSE(DecompressZlib(path.c_str(), 0, 0, blocks.Data(), 1));
    EXPECT_FALSE(DecompressZlib(path.c_str(), 0, size, noBlocks, 1));
    EXPECT_FALSE(DecompressZlib(path.c_str(), 0, size, blocks.Data(), 0));
    EXPECT_FALSE(DecompressZlib(noPath, 0, size, room, 5));
    EXPECT_FALSE(DecompressZlib(path.c_str(), 0, 0, room, 5));
    EXPECT_FALSE(DecompressZlib(path.c_str(), 0, size, noRoom, 5));
    EXPECT_FALSE(DecompressZlib(path.c_str(), 0, size, room, 0));
    EXPECT_FALSE(DecompressZlib(nullptr, size, room, 5));
    EXPECT_FALSE(DecompressZlib(stream.data(), 0, room, 5));
    EXPECT_FALSE(DecompressZlib(stream.data(), size, noRoom, 5));
    EXPECT_FALSE(DecompressZlib(stream.data(), size, room, 0));
    mLog.ExpectAll({});
}

TEST_F(ZlibAdapterTest, TakesAShorterStreamAndStrayBytesFromMemory)
{
    const std::string plain = PatternedBytes(1000, 13);
    const std::string stream = ZlibStream(plain) + "stray";
    std::string memory(2000, '#');
    EXPECT_TRUE(DecompressZlib(stream.data(), SizeOf(stream), memory.data(), SizeOf(memory)));
    EXPECT_EQ(memory.substr(0, 1000), plain);
    EXPECT_EQ(memory.substr(1000), std::string(1000, '#'));
}

TEST_F(ZlibAdapterTest, RefusesADamagedOrTooLongStreamFromMemory)
{
    const std::string plain = PatternedBytes(1000, 14);
    const std::string stream = ZlibStream(plain);
    std::string memory(1000, '#');
    EXPECT_TRUE(DecompressZlib(stream.data(), SizeOf(stream), memory.data(), 1000));
    EXPECT_FALSE(DecompressZlib(stream.data(), SizeOf(stream), memory.data(), 999));
    EXPECT_FALSE(DecompressZlib(stream.data(), SizeOf(stream) - 1, memory.data(), 1000));
    EXPECT_FALSE(DecompressZlib(stream.data() + 1, SizeOf(stream) - 1, memory.data(), 1000));
    mLog.ExpectAll({});
}
} // namespace
} // namespace Keld::MORV::Reader
