#include "KeldMorvIO/blocks/DecompressByTag.h"

#include "KeldMorvIO/blocks/BlockRow.h"
#include "KeldMorvIO/blocks/Descriptors.h"
#include "Support/CompressedStream.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::MORV::Reader
{
namespace
{
class DecompressByTagTest : public testing::Test
{
protected:
    /// Whether all four forms give `expected`, and the plain bytes where they succeed.
    void ExpectFromAllForms(uint32 tag, const std::string &stream, bool expected)
    {
        const auto size = static_cast<uint32>(stream.size());
        const std::string path = mTree.Write("data", stream);
        const auto check = [&](bool result, const std::string &content)
        {
            EXPECT_EQ(result, expected);
            if (expected)
            {
                EXPECT_EQ(content, mPlain);
            }
        };
        std::string memory(mPlain.size(), '#');
        const auto room = static_cast<uint32>(memory.size());
        bool result = DecompressByTag(tag, stream.data(), size, memory.data(), room);
        check(result, memory);
        memory.assign(mPlain.size(), '#');
        result = DecompressByTag(tag, path.c_str(), 0, size, memory.data(), room);
        check(result, memory);
        Keld::Test::BlockRow fromPath = Keld::Test::BlockRow::Of(mPlain.size(), 300);
        result = DecompressByTag(tag, path.c_str(), 0, size, fromPath.Data(), fromPath.Count());
        check(result, fromPath.Content());
        Keld::Test::BlockRow fromHandle = Keld::Test::BlockRow::Of(mPlain.size(), 300);
        const AsyncFile file = AsyncOpen(path.c_str());
        result = DecompressByTag(tag, file, 0, size, fromHandle.Data(), fromHandle.Count());
        check(result, fromHandle.Content());
        EXPECT_EQ(Keld::Test::IsClosedButTaken(file), tag == CompressionLzma);
    }

    Keld::Test::TempTree mTree;
    Keld::Test::ReaderLogCapture mLog;
    std::string mPlain = Keld::Test::PatternedBytes(1000, 1);
};

TEST_F(DecompressByTagTest, SpellsItsTagsInFourCharacters)
{
    EXPECT_EQ(CompressionNone, 0x454E4F4EU);
    EXPECT_EQ(CompressionZlib, 0x42494C5AU);
    EXPECT_EQ(CompressionLzma, 0x414D5A4CU);
}

TEST_F(DecompressByTagTest, ChoosesTheAdapterByTheTagInAllForms)
{
    const std::string zlib = Keld::Test::ZlibStream(mPlain);
    const std::string lzma = Keld::Test::LzmaFile(mPlain);
    ExpectFromAllForms(CompressionZlib, zlib, true);
    ExpectFromAllForms(CompressionLzma, lzma, true);
    ExpectFromAllForms(CompressionZlib, lzma, false);
    mLog.ExpectAll({});
}

TEST_F(DecompressByTagTest, RefusesAnyOtherTagInAllForms)
{
    for (const uint32 tag : {CompressionNone, 0U, 0x5A4C4942U, 0x62696C7AU, 0xFFFFFFFFU})
    {
        SCOPED_TRACE(tag);
        ExpectFromAllForms(tag, Keld::Test::ZlibStream(mPlain), false);
        ExpectFromAllForms(tag, mPlain, false);
    }
    mLog.ExpectAll({});
}
} // namespace
} // namespace Keld::MORV::Reader
