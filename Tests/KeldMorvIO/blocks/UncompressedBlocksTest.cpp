#include "KeldMorvIO/blocks/UncompressedBlocks.h"

#include "KeldMorvIO/blocks/BlockRow.h"
#include "KeldMorvIO/blocks/Descriptors.h"
#include "Support/CompressedStream.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

namespace Keld::MORV::Reader
{
using Keld::Test::PatternedBytes;
using Keld::Test::RandomBytes;
using Keld::Test::SizeOf;

namespace
{
constexpr const char *DecompressSignature = "bool Keld::MORV::Reader::UncompressedBlocks::Decompress("
                                            "const Keld::uint32, const char *, Keld::uint64, Keld::uint32, "
                                            "Keld::uint32)";
constexpr const char *FromHandleSignature =
    "bool Keld::MORV::Reader::UncompressedBlocks::FromFile(AsyncFile, Keld::uint64, Keld::uint32)";
constexpr const char *FromPathSignature =
    "bool Keld::MORV::Reader::UncompressedBlocks::FromFile(const char *, Keld::uint64, Keld::uint32)";

std::string ReadAll(const UncompressedBlocks &blocks, uint32 offset, uint32 size)
{
    std::string room(size, '#');
    room.resize(blocks.Read(room.data(), offset, size));
    return room;
}

class UncompressedBlocksTest : public testing::Test
{
protected:
    ~UncompressedBlocksTest() override { AsyncClose(mFile); }

    void Open(std::string_view bytes)
    {
        AsyncClose(mFile);
        mFile = AsyncOpen(mTree.Write("data", bytes).c_str());
        ASSERT_NE(mFile, AsyncFile::Null);
    }

    /// Blocks of `blockSize` with this content.
    void Fill(UncompressedBlocks &blocks, const std::string &content)
    {
        const std::string stream = Keld::Test::ZlibStream(content);
        Open(stream);
        ASSERT_TRUE(blocks.Decompress(CompressionZlib, mFile, 0, SizeOf(stream), SizeOf(content)));
    }

    Keld::Test::ReaderLogCapture mLog;
    Keld::Test::TempTree mTree;
    AsyncFile mFile = AsyncFile::Null;
};

TEST_F(UncompressedBlocksTest, IsEmptyUntilItIsFilled)
{
    UncompressedBlocks blocks(4);
    EXPECT_EQ(ReadAll(blocks, 0, 10), "");
    EXPECT_EQ(blocks.FindByte('x', 0), 0U);
    blocks.Clear();
    blocks.Clear();
    EXPECT_EQ(ReadAll(blocks, 0, 10), "");
}

TEST_F(UncompressedBlocksTest, HoldsADecompressedFileOfAnySize)
{
    for (const std::size_t size : Keld::Test::TellingSizes)
    {
        SCOPED_TRACE(size);
        const std::string plain = PatternedBytes(size, 1);
        UncompressedBlocks blocks(0x40000);
        const std::string zlib = Keld::Test::ZlibStream(plain);
        Open("before" + zlib);
        EXPECT_TRUE(blocks.Decompress(CompressionZlib, mFile, 6, SizeOf(zlib), SizeOf(plain)));
        EXPECT_TRUE(ReadAll(blocks, 0, SizeOf(plain) + 10) == plain);
        const std::string lzma = Keld::Test::LzmaFile(plain);
        Open("before" + lzma);
        EXPECT_TRUE(blocks.Decompress(CompressionLzma, mFile, 6, SizeOf(lzma), SizeOf(plain)));
        EXPECT_TRUE(ReadAll(blocks, 0, SizeOf(plain) + 10) == plain);
        EXPECT_TRUE(Keld::Test::IsClosedButTaken(mFile));
        mFile = AsyncFile::Null;
    }
    mLog.ExpectAll({});
}

TEST_F(UncompressedBlocksTest, ReadsAnyRangeAcrossItsBlocks)
{
    const std::string content = "0123456789abcdefghij";
    for (const uint32 blockSize : {1u, 3u, 4u, 7u, 64u})
    {
        SCOPED_TRACE(blockSize);
        UncompressedBlocks blocks(blockSize);
        Fill(blocks, content);
        for (uint32 offset = 0; offset <= content.size() + 2; ++offset)
        {
            for (uint32 size = 0; size <= content.size() + 2; ++size)
            {
                const std::string expected = offset < content.size() ? content.substr(offset, size) : "";
                EXPECT_EQ(ReadAll(blocks, offset, size), expected) << offset << ' ' << size;
            }
        }
        EXPECT_EQ(ReadAll(blocks, 0xFFFFFFFF, 5), "");
    }
}

TEST_F(UncompressedBlocksTest, AReadThatMustBeWholeTellsHowFarItCame)
{
    UncompressedBlocks blocks(4);
    Fill(blocks, "0123456789");
    char room[10] = {};
    uint32 bytesRead = 77;
    EXPECT_TRUE(blocks.ReadWhole(2, 3, &bytesRead, room));
    EXPECT_EQ(bytesRead, 3U);
    EXPECT_EQ(std::string(room, 3), "234");
    EXPECT_FALSE(blocks.ReadWhole(8, 3, &bytesRead, room));
    EXPECT_EQ(bytesRead, 2U);
    EXPECT_EQ(std::string(room, 2), "89");
    EXPECT_TRUE(blocks.ReadWhole(uint64{1} << 32, 1, nullptr, room)); // from the start again
    EXPECT_EQ(room[0], '0');
    EXPECT_FALSE(blocks.ReadWhole(10, 1, nullptr, room));
}

TEST_F(UncompressedBlocksTest, ReadsWithASizeThatReachesBehindThirtyTwoBits)
{
    UncompressedBlocks blocks(4);
    Fill(blocks, "0123456789");
    char room[10];
    EXPECT_EQ(blocks.Read(room, 6, 0xFFFFFFFF), 4U);
    EXPECT_EQ(std::string(room, 4), "6789");
}

TEST_F(UncompressedBlocksTest, WritesNothingBehindWhatItReads)
{
    UncompressedBlocks blocks(4);
    Fill(blocks, "0123456789");
    std::string room(10, '#');
    EXPECT_EQ(blocks.Read(room.data(), 8, 10), 2U);
    EXPECT_EQ(room, "89########");
}

TEST_F(UncompressedBlocksTest, FindsTheNextByteOrGivesTheTotalSize)
{
    UncompressedBlocks blocks(4);
    Fill(blocks, std::string("ab\0da\xFF"
                             "cdea",
                             10));
    EXPECT_EQ(blocks.FindByte('a', 0), 0U);
    EXPECT_EQ(blocks.FindByte('a', 1), 4U);
    EXPECT_EQ(blocks.FindByte('a', 4), 4U);
    EXPECT_EQ(blocks.FindByte('a', 5), 9U);
    EXPECT_EQ(blocks.FindByte('a', 10), 10U);
    EXPECT_EQ(blocks.FindByte('a', 1000), 10U);
    EXPECT_EQ(blocks.FindByte('a', 11), 10U) << "behind the end of the last block, but in its reach";
    EXPECT_EQ(blocks.FindByte('z', 0), 10U);
    EXPECT_EQ(blocks.FindByte(0, 0), 2U);
    EXPECT_EQ(blocks.FindByte(0xFF, 0), 5U);
}

TEST_F(UncompressedBlocksTest, SucceedsForASizeOfZeroWithAnyTagAndLeavesTheFileAlone)
{
    Open("no stream at all");
    for (const uint32 tag : {CompressionNone, CompressionZlib, CompressionLzma, 0U})
    {
        UncompressedBlocks blocks(4);
        Fill(blocks, "something");
        EXPECT_TRUE(blocks.Decompress(tag, mFile, 0, 10, 0));
        EXPECT_TRUE(Keld::Test::IsOpenDescriptor(mFile));
        EXPECT_TRUE(blocks.Decompress(tag, static_cast<AsyncFile>(1'000'000), 0, 10, 0));
        EXPECT_EQ(ReadAll(blocks, 0, 10), "");
        EXPECT_EQ(blocks.FindByte('x', 0), 0U);
    }
    mLog.ExpectAll({});
}

TEST_F(UncompressedBlocksTest, TakesTheStoredSizeForAPlainFile)
{
    Open("0123456789");
    UncompressedBlocks blocks(64);
    EXPECT_TRUE(blocks.Decompress(CompressionNone, mFile, 2, 8, 5));
    EXPECT_EQ(ReadAll(blocks, 0, 20), "23456789");
    EXPECT_TRUE(blocks.Decompress(CompressionNone, mFile, 2, 3, 5));
    EXPECT_EQ(ReadAll(blocks, 0, 20), "234");
    EXPECT_TRUE(blocks.Decompress(CompressionNone, mFile, 2, 0, 5));
    EXPECT_EQ(ReadAll(blocks, 0, 20), "");
    EXPECT_TRUE(Keld::Test::IsOpenDescriptor(mFile));
}

TEST_F(UncompressedBlocksTest, RefusesAnUnknownTagWithoutALineAndKeepsItsBlocks)
{
    Open("0123456789");
    UncompressedBlocks blocks(4);
    EXPECT_FALSE(blocks.Decompress(0x12345678, mFile, 0, 10, 7));
    EXPECT_EQ(ReadAll(blocks, 0, 20).size(), 7U);
    mLog.ExpectAll({});
}

TEST_F(UncompressedBlocksTest, KeepsWhatADamagedStreamGaveUntilItIsCleared)
{
    const std::string plain = RandomBytes(200000, 2);
    const std::string stream = Keld::Test::ZlibStream(plain);
    Open(stream.substr(0, 150000));
    UncompressedBlocks blocks(0x10000);
    EXPECT_FALSE(blocks.Decompress(CompressionZlib, mFile, 0, SizeOf(stream), SizeOf(plain)));
    EXPECT_TRUE(ReadAll(blocks, 0, 100000) == plain.substr(0, 100000));
    blocks.Clear();
    EXPECT_EQ(ReadAll(blocks, 0, 10), "");
    mLog.ExpectAll({});
}

TEST_F(UncompressedBlocksTest, FillsEveryBlockFromTheSameOffset)
{
    Open("0123456789abcdef");
    UncompressedBlocks blocks(4);
    EXPECT_TRUE(blocks.FromFile(mFile, 2, 8));
    EXPECT_EQ(ReadAll(blocks, 0, 20), "23452345");
    EXPECT_TRUE(blocks.FromFile(mFile, 12, 10)) << "a second block would lie behind the end of the file";
    EXPECT_EQ(ReadAll(blocks, 0, 20), "cdefcdefcd");
    EXPECT_TRUE(blocks.FromFile(mTree.Path("data").c_str(), 1, 5));
    EXPECT_EQ(ReadAll(blocks, 0, 20), "12341");
    EXPECT_TRUE(blocks.Decompress(CompressionNone, mFile, 2, 5, 1));
    EXPECT_EQ(ReadAll(blocks, 0, 20), "23452");
    mLog.ExpectAll({});
}

TEST_F(UncompressedBlocksTest, FitsItsBlocksToTheSize)
{
    const std::string content = RandomBytes(0x40001, 3);
    Open(content);
    UncompressedBlocks blocks(0x40000);
    EXPECT_TRUE(blocks.FromFile(mFile, 0, 0x40000));
    EXPECT_TRUE(ReadAll(blocks, 0, 0x50000) == content.substr(0, 0x40000));
    EXPECT_TRUE(blocks.FromFile(mFile, 0, 0x40001));
    EXPECT_TRUE(ReadAll(blocks, 0, 0x50000) == content.substr(0, 0x40000) + content[0]);
}

TEST_F(UncompressedBlocksTest, TouchesNothingForAPlainFileOfSizeZero)
{
    UncompressedBlocks blocks(4);
    Fill(blocks, "something");
    EXPECT_TRUE(blocks.FromFile(static_cast<AsyncFile>(1'000'000), 0, 0));
    EXPECT_EQ(ReadAll(blocks, 0, 10), "");
    mLog.ExpectAll({});
}

TEST_F(UncompressedBlocksTest, IsEmptyAfterAPlainReadThatIsShortOrFails)
{
    Open("0123456789");
    UncompressedBlocks blocks(4);
    Fill(blocks, "something");
    Open("0123456789");
    const std::string number = std::to_string(static_cast<int>(mFile));
    EXPECT_FALSE(blocks.FromFile(mFile, 8, 3));
    mLog.ExpectAll({Keld::Test::Error("Failed to read from " + number, FromHandleSignature)});
    EXPECT_EQ(ReadAll(blocks, 0, 10), "");
    EXPECT_EQ(blocks.FindByte('s', 0), 0U);
    EXPECT_FALSE(blocks.FromFile(static_cast<AsyncFile>(1'000'000), 0, 3));
    mLog.ExpectAll({Keld::Test::Error("Failed to read from 1000000", FromHandleSignature)});
    EXPECT_FALSE(blocks.Decompress(CompressionNone, mFile, 8, 3, 3));
    mLog.ExpectAll({Keld::Test::Error("Failed to read from " + number, FromHandleSignature)});
}

TEST_F(UncompressedBlocksTest, DecompressesAPathIntoTheBlocksThatItHas)
{
    const std::string plain = PatternedBytes(1000, 4);
    const std::string zlib = Keld::Test::ZlibStream(plain);
    const std::string zlibPath = mTree.Write("zlib", "before" + zlib);
    const std::string lzma = Keld::Test::LzmaFile(plain);
    const std::string lzmaPath = mTree.Write("lzma", "before" + lzma);
    const int descriptor = Keld::Test::LowestFreeDescriptor();
    UncompressedBlocks blocks(300);
    blocks.Allocate(1000);
    EXPECT_TRUE(blocks.Decompress(CompressionZlib, zlibPath.c_str(), 6, SizeOf(zlib), 77));
    EXPECT_EQ(ReadAll(blocks, 0, 2000), plain);
    errno = 0;
    EXPECT_TRUE(blocks.Decompress(CompressionLzma, lzmaPath.c_str(), 6, SizeOf(lzma), 0));
    EXPECT_NE(errno, EBADF) << "closed twice";
    EXPECT_EQ(ReadAll(blocks, 0, 2000), plain);
    EXPECT_FALSE(blocks.Decompress(CompressionLzma, lzmaPath.c_str(), 6, SizeOf(lzma) - 1, 1000));
    EXPECT_FALSE(blocks.Decompress(CompressionLzma, lzmaPath.c_str(), 6, 0, 1000)) << "refused before the handle goes";
    EXPECT_FALSE(blocks.Decompress(CompressionNone, zlibPath.c_str(), 6, SizeOf(zlib), 1000));
    blocks.Allocate(999);
    EXPECT_FALSE(blocks.Decompress(CompressionZlib, zlibPath.c_str(), 6, SizeOf(zlib), 1000));
    blocks.Clear();
    EXPECT_FALSE(blocks.Decompress(CompressionZlib, zlibPath.c_str(), 6, SizeOf(zlib), 1000));
    EXPECT_FALSE(blocks.Decompress(CompressionLzma, lzmaPath.c_str(), 6, SizeOf(lzma), 1000));
    EXPECT_EQ(Keld::Test::LowestFreeDescriptor(), descriptor);
    mLog.ExpectAll({});
}

TEST_F(UncompressedBlocksTest, ReportsAPathThatCannotBeOpened)
{
    const std::string path = mTree.Path("missing");
    UncompressedBlocks blocks(4);
    Fill(blocks, "something");
    EXPECT_FALSE(blocks.Decompress(CompressionZlib, path.c_str(), 0, 5, 5));
    mLog.ExpectAll({Keld::Test::Error("Failed to open: " + path, DecompressSignature),
                    Keld::Test::Error(std::strerror(ENOENT), DecompressSignature)});
    EXPECT_FALSE(blocks.FromFile(path.c_str(), 0, 5));
    mLog.ExpectAll({Keld::Test::Error("Failed to open: " + path, FromPathSignature),
                    Keld::Test::Error(std::strerror(ENOENT), FromPathSignature)});
    EXPECT_EQ(ReadAll(blocks, 0, 20), "something") << "a path that is not there changes nothing";
}

TEST_F(UncompressedBlocksTest, ReportsAPathThatGetsTheNullHandleWithoutAnError)
{
    const std::string path = mTree.Write("plain", "x");
    const Keld::Test::ClosedStandardInput closed;
    UncompressedBlocks blocks(4);
    errno = 0;
    EXPECT_FALSE(blocks.FromFile(path.c_str(), 0, 1));
    mLog.ExpectAll({Keld::Test::Error("Failed to open: " + path, FromPathSignature),
                    Keld::Test::Progress(std::strerror(0), FromPathSignature)});
}

TEST_F(UncompressedBlocksTest, ReadsAPlainPathAndClosesIt)
{
    const std::string path = mTree.Write("plain", "0123456789");
    const int descriptor = Keld::Test::LowestFreeDescriptor();
    UncompressedBlocks blocks(64);
    EXPECT_TRUE(blocks.FromFile(path.c_str(), 3, 4));
    EXPECT_EQ(ReadAll(blocks, 0, 20), "3456");
    EXPECT_FALSE(blocks.FromFile(path.c_str(), 3, 8));
    EXPECT_EQ(Keld::Test::LowestFreeDescriptor(), descriptor);
    mLog.ExpectAll({Keld::Test::Error("Failed to read from " + std::to_string(descriptor), FromHandleSignature)});
}

TEST_F(UncompressedBlocksTest, CountsItsBlocksInMoreThanThirtyTwoBits)
{
    Open("0123456789");
    UncompressedBlocks blocks(0xFFFFFFFF);
    EXPECT_TRUE(blocks.FromFile(mFile, 3, 2));
    EXPECT_EQ(ReadAll(blocks, 0, 20), "34");
    EXPECT_EQ(ReadAll(blocks, 1, 20), "4");
}
} // namespace
} // namespace Keld::MORV::Reader
