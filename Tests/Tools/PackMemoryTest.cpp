#include "Tools/ToolRun.h"

#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <filesystem>

#include <sys/wait.h>

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

/// Runs a shell command in a tree, in which "$morv" is the tool. Gives its status and what it told.
std::string RunLimited(const TempTree &tree, const std::string &command)
{
    const std::string script = "cd " + tree.Root() + " && morv=" KELD_MORV_PROGRAM " && (" + command + ") 2>error";
    const int status = std::system(script.c_str());
    return std::to_string(WEXITSTATUS(status)) + " " + tree.Read("error");
}

TEST(PackMemoryTest, OfANameInATarStreamOnlyWhatAReleaseCanHoldIsLookedAt)
{
    // All its prefixes together are 400 MB.
    const TempTree tree;
    const std::string told =
        RunLimited(tree, "python3 -c 'import tarfile; tar = tarfile.open(\"stream\", \"w\"); "
                         "tar.addfile(tarfile.TarInfo(\"a/\" * 20000 + \"b\")); tar.close()' && ulimit -v 300000 && "
                         "$morv pack - --root MORV --project game --release 1.0.0.0 -j 1 <stream");
    EXPECT_EQ(told.rfind("2 morv: ", 0), 0u) << told.substr(0, 80);
    EXPECT_NE(told.find("longer than 1023 bytes"), std::string::npos);
}

TEST(PackMemoryTest, WhereTheSystemGivesNoThreadsThereIsStillTheOne)
{
    // Each would have a stack that is larger than all memory.
    const TempTree tree;
    tree.Write("source/file", "content");
    EXPECT_EQ(RunLimited(tree, "ulimit -s 2000000 && ulimit -v 1000000 && $morv pack source --root MORV --project game "
                               "--release 1.0.0.0 --storage archive --no-sync -j 4 -q"),
              "0 ");
    EXPECT_EQ(RunMorv(tree.Path("MORV/projects/game/releases/1.0.0.0"), {"cat", "file"}).out, "content");
}
} // namespace
} // namespace Keld::Test
