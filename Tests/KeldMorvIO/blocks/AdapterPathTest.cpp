#include "KeldMorvIO/blocks/CompressedFormat.h"
#include "KeldMorvIO/blocks/DecompressByTag.h"

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
using Keld::Test::BlockRow;
using Keld::Test::Error;
using Keld::Test::SizeOf;

namespace
{
struct Adapter
{
    const char *name;
    uint32 tag;
    const char *openSignature; ///< under which an open that failed is logged
};

/// What the forms of both adapters that take a path have in common.
class AdapterPathTest : public testing::TestWithParam<Adapter>
{
protected:
    static std::string Compress(const std::string &plain)
    {
        return GetParam().tag == CompressionZlib ? Keld::Test::ZlibStream(plain) : Keld::Test::LzmaFile(plain);
    }

    static bool IntoBlocks(const std::string &path, uint64 offset, uint32 size, BlockRow &blocks)
    {
        return DecompressByTag(GetParam().tag, path.c_str(), offset, size, blocks.Data(), blocks.Count());
    }

    static bool IntoMemory(const std::string &path, uint64 offset, uint32 size, std::string &room, uint32 roomSize)
    {
        return DecompressByTag(GetParam().tag, path.c_str(), offset, size, room.data(), roomSize);
    }

    Keld::Test::ReaderLogCapture mLog;
    Keld::Test::TempTree mTree;
};

TEST_P(AdapterPathTest, ReadsAPathIntoBlocksAndIntoMemory)
{
    const std::string plain = Keld::Test::PatternedBytes(1000, 12);
    const std::string stream = Compress(plain);
    const std::string path = mTree.Write("data", "before" + stream);
    const int descriptor = Keld::Test::LowestFreeDescriptor();
    BlockRow blocks = BlockRow::Of(plain.size(), 300);
    EXPECT_TRUE(IntoBlocks(path, 6, SizeOf(stream), blocks));
    EXPECT_EQ(blocks.Content(), plain);
    std::string room(plain.size(), '#');
    EXPECT_TRUE(IntoMemory(path, 6, SizeOf(stream), room, SizeOf(room)));
    EXPECT_EQ(room, plain);
    EXPECT_FALSE(IntoMemory(path, 5, SizeOf(stream) + 1, room, SizeOf(room)));
    EXPECT_FALSE(IntoMemory(path, 6, SizeOf(stream), room, SizeOf(room) - 1));
    EXPECT_EQ(Keld::Test::LowestFreeDescriptor(), descriptor);
}

TEST_P(AdapterPathTest, ReportsAPathThatCannotBeOpened)
{
    const std::string path = mTree.Path("missing");
    const std::vector<Keld::Test::ExpectedLine> lines = {Error("Failed to open: " + path, GetParam().openSignature),
                                                         Error(std::strerror(ENOENT), GetParam().openSignature)};
    BlockRow blocks({5});
    EXPECT_FALSE(IntoBlocks(path, 0, 50, blocks));
    mLog.ExpectAll(lines);
    std::string room(5, '#');
    EXPECT_FALSE(IntoMemory(path, 0, 50, room, 5));
    mLog.ExpectAll(lines);
}

TEST_P(AdapterPathTest, ReportsAPathThatGetsTheNullHandleWithoutAnError)
{
    const std::string path = mTree.Write("data", "x");
    const Keld::Test::ClosedStandardInput closed;
    BlockRow blocks({5});
    errno = 0;
    EXPECT_FALSE(IntoBlocks(path, 0, 1, blocks));
    mLog.ExpectAll({Error("Failed to open: " + path, GetParam().openSignature),
                    Keld::Test::Progress(std::strerror(0), GetParam().openSignature)});
}

INSTANTIATE_TEST_SUITE_P(
    Adapters, AdapterPathTest,
    testing::Values(Adapter{"Zlib", CompressionZlib,
                            "bool Keld::MORV::Reader::DecompressZlib(const char *, Keld::uint64, Keld::uint32, "
                            "Keld::MORV::Reader::UncompressedBlock *, const Keld::uint32)"},
                    Adapter{
                        "Lzma", CompressionLzma,
                        "bool Keld::MORV::Reader::LzmaInFile::Initialize(const char *, Keld::uint64, Keld::uint32)"}),
    [](const testing::TestParamInfo<Adapter> &adapter)
    {
        return adapter.param.name;
    });
} // namespace
} // namespace Keld::MORV::Reader
