#include "KeldMorvIO/blocks/UncompressedBlocks.h"
#include "Support/HexDump.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::MORV::Reader
{
namespace
{
TEST(CompressedDataPageTest, TheDumpHoldsOneTextInThreeForms)
{
    const std::string text = "tick tock tick tock tick tock\n";
    const std::string dump = Keld::Test::ReadHexDump("Docs/Formats/CompressedData.md");
    ASSERT_EQ(dump.size(), 0x52U);
    const Keld::Test::TempTree tree;
    const std::string path = tree.Write("data", dump);
    struct Form
    {
        uint32 tag;
        uint64 offset;
        uint32 size;
    };
    for (const Form &form :
         {Form{CompressionNone, 0, 30}, Form{CompressionZlib, 0x1E, 19}, Form{CompressionLzma, 0x31, 33}})
    {
        SCOPED_TRACE(form.offset);
        const AsyncFile file = AsyncOpen(path.c_str());
        UncompressedBlocks blocks(0x40000);
        EXPECT_TRUE(blocks.Decompress(form.tag, file, form.offset, form.size, 30));
        std::string content(100, '#');
        content.resize(blocks.Read(content.data(), 0, 100));
        EXPECT_EQ(content, text);
        if (form.tag != CompressionLzma)
        {
            AsyncClose(file);
        }
    }
}
} // namespace
} // namespace Keld::MORV::Reader
