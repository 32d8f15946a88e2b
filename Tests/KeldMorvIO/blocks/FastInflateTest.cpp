#include "KeldMorvIO/blocks/FastInflate.h"
#include "KeldMorvIO/blocks/ZlibAdapter.h"

#include "KeldMorvIO/blocks/BlockRow.h"
#include "Support/CompressedStream.h"
#include "Support/DeflateBits.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <atomic>
#include <string>
#include <thread>
#include <vector>

namespace Keld::MORV::Reader
{
using Keld::Test::BlockRow;
using Keld::Test::PatternedBytes;
using Keld::Test::RandomBytes;
using Keld::Test::SizeOf;
using Keld::Test::ZlibStream;

namespace
{
/// Text and noise by turns, as content is.
std::string MixedBytes(std::size_t size)
{
    std::string plain;
    for (std::uint32_t seed = 0; plain.size() < size; ++seed)
    {
        plain += PatternedBytes(48 << 10, seed) + RandomBytes(16 << 10, seed);
    }
    plain.resize(size);
    return plain;
}

class FastInflateTest : public testing::Test
{
protected:
    ~FastInflateTest() override { AsyncClose(mFile); }

    FastInflateResult Try(const std::string &stream, std::size_t size, BlockRow &blocks, std::size_t stated = 0)
    {
        AsyncClose(mFile);
        mFile = AsyncOpen(mTree.Write("data", stream).c_str());
        ChunkedInput input(mFile, 0, stated != 0 ? static_cast<uint32>(stated) : SizeOf(stream));
        return InflateFast(input, blocks.Data(), blocks.Count(), size);
    }

    void ExpectTaken(const std::string &plain, const std::string &stream, std::size_t blockSize = 0x40000)
    {
        BlockRow blocks = BlockRow::Of(plain.size(), blockSize);
        EXPECT_EQ(Try(stream, plain.size(), blocks), FastInflateResult::Done);
        EXPECT_TRUE(blocks.Content() == plain);
    }

    Keld::Test::TempTree mTree;
    AsyncFile mFile = AsyncFile::Null;
};

TEST_F(FastInflateTest, TakesOrdinaryStreamsOfEverySizeAndLevel)
{
    for (const std::size_t size : {1U, 2U, 1000U, 4096U, 65535U, 65537U, 262144U, 262145U, 1000000U})
    {
        for (const int level : {1, 6, 9})
        {
            SCOPED_TRACE(std::to_string(size) + " at level " + std::to_string(level));
            const std::string plain = MixedBytes(size);
            ExpectTaken(plain, ZlibStream(plain, level));
        }
    }
}

TEST_F(FastInflateTest, TakesOrdinaryStreamsIntoSmallBlocks)
{
    const std::string plain = MixedBytes(100000);
    for (const std::size_t blockSize : {7U, 1000U, 32768U, 40000U, 99999U})
    {
        SCOPED_TRACE(blockSize);
        ExpectTaken(plain, ZlibStream(plain), blockSize);
    }
}

TEST_F(FastInflateTest, LeavesWhatIsOutOfTheOrdinaryToZlib)
{
    const std::string plain = MixedBytes(5000);
    const std::string stream = ZlibStream(plain);
    BlockRow blocks = BlockRow::Of(plain.size());
    EXPECT_EQ(Try(stream + "x", plain.size(), blocks), FastInflateResult::NotTaken);
    EXPECT_EQ(Try(stream.substr(0, 1), plain.size(), blocks), FastInflateResult::NotTaken);
    EXPECT_EQ(Try(stream.substr(0, stream.size() / 2), plain.size(), blocks), FastInflateResult::NotTaken);
    BlockRow tooSmall = BlockRow::Of(plain.size() - 1);
    EXPECT_EQ(Try(stream, plain.size() - 1, tooSmall), FastInflateResult::NotTaken);
}

TEST_F(FastInflateTest, WritesNothingBehindABlock)
{
    constexpr std::size_t blockSize = 1000;
    constexpr std::size_t gap = 64;
    const std::string plain = MixedBytes(100 * blockSize);
    const std::string stream = ZlibStream(plain);
    std::string memory(100 * (blockSize + gap), '#');
    std::vector<UncompressedBlock> blocks;
    for (std::size_t offset = 0; offset < memory.size(); offset += blockSize + gap)
    {
        blocks.push_back({memory.data() + offset, blockSize});
    }
    mFile = AsyncOpen(mTree.Write("data", stream).c_str());
    ChunkedInput input(mFile, 0, SizeOf(stream));
    EXPECT_EQ(InflateFast(input, blocks.data(), static_cast<uint32>(blocks.size()), plain.size()),
              FastInflateResult::Done);
    for (std::size_t index = 0; index < blocks.size(); ++index)
    {
        const std::size_t offset = index * (blockSize + gap);
        EXPECT_EQ(memory.substr(offset, blockSize), plain.substr(index * blockSize, blockSize)) << index;
        EXPECT_EQ(memory.substr(offset + blockSize, gap), std::string(gap, '#')) << index;
    }
}

TEST_F(FastInflateTest, LeavesStreamsOfManySmallBlocksToZlib)
{
    const std::string plain = MixedBytes(5000);
    for (const int empty : {0, 20, 30, 60, 5000})
    {
        SCOPED_TRACE(empty);
        Keld::Test::DeflateBits bits;
        for (int index = 0; index < empty; ++index)
        {
            bits.Stored("", false);
        }
        const std::string stream = bits.Stored(plain, true).Zlib(plain);
        BlockRow blocks = BlockRow::Of(plain.size());
        EXPECT_EQ(Try(stream, plain.size(), blocks),
                  empty <= 30 ? FastInflateResult::Done : FastInflateResult::NotTaken);
        EXPECT_TRUE(DecompressZlib(mFile, 0, SizeOf(stream), blocks.Data(), blocks.Count()));
        EXPECT_TRUE(blocks.Content() == plain);
    }
}

TEST_F(FastInflateTest, TellsARangeThatCannotBeRead)
{
    const std::string plain = MixedBytes(500000);
    const std::string stream = ZlibStream(plain);
    BlockRow blocks = BlockRow::Of(plain.size());
    EXPECT_EQ(Try(stream, plain.size(), blocks, stream.size() + 1), FastInflateResult::ReadFailed);
    EXPECT_EQ(Try("", plain.size(), blocks, 10), FastInflateResult::ReadFailed);
}

TEST_F(FastInflateTest, ServesThreadsAtOnce)
{
    const std::string plain = MixedBytes(200000);
    const std::string stream = ZlibStream(plain);
    const AsyncFile file = AsyncOpen(mTree.Write("shared", stream).c_str());
    std::atomic<int> wrong = 0;
    const auto inflate = [&]
    {
        for (int round = 0; round < 20; ++round)
        {
            BlockRow blocks = BlockRow::Of(plain.size());
            ChunkedInput input(file, 0, SizeOf(stream));
            const bool done =
                InflateFast(input, blocks.Data(), blocks.Count(), plain.size()) == FastInflateResult::Done;
            wrong += done && blocks.Content() == plain ? 0 : 1;
        }
    };
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int index = 0; index < 4; ++index)
    {
        threads.emplace_back(inflate);
    }
    for (std::thread &thread : threads)
    {
        thread.join();
    }
    AsyncClose(file);
    EXPECT_EQ(wrong, 0);
}
} // namespace
} // namespace Keld::MORV::Reader
