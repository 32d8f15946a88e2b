#include "Tools/ToolRun.h"

#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Keld::Test
{
namespace
{
// A file of holes, which takes no room on the disk, and much less than it takes a whole content in memory.
TEST(PackMemoryTest, ALargeFileIsPackedInAFractionOfItsSize)
{
    constexpr std::uint64_t size = 512 << 20;
    const TempTree tree;
    std::filesystem::resize_file(tree.Write("source/large.bin", ""), size);
    const ToolResult packed =
        RunMorv(tree.Root(), {"pack", "source", "--root", "MORV", "--project", "game", "--release", "1.0.0.0",
                              "--storage", "archive", "--compression", "zlib", "--no-sync", "-j", "2"});
    EXPECT_EQ(packed.exitCode, 0) << packed.error;
    EXPECT_LT(packed.peakMemory, size / 8);
}
} // namespace
} // namespace Keld::Test
