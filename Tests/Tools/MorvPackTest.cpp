#include "Tools/ToolRun.h"

#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <csignal>
#include <cstdlib>
#include <filesystem>

#include <sys/wait.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

class MorvPackTest : public testing::Test
{
protected:
    ToolResult Pack(std::vector<std::string> more)
    {
        std::vector<std::string> arguments{"pack", "source", "--root", "MORV", "--project", "game"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunMorv(mTree.Root(), arguments);
    }

    void ExpectRefused(const ToolResult &result, const std::string &reason)
    {
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.out, "");
        EXPECT_EQ(result.error.rfind("morv: ", 0), 0u);
        EXPECT_NE(result.error.find(reason), std::string::npos) << result.error;
    }

    TempTree mTree;
};

TEST_F(MorvPackTest, StoresNakedUnlessToldOtherwiseAndReportsIt)
{
    mTree.Write("source/d/a.txt", "hello");
    const ToolResult result = Pack({"--release", "1.0.0.0"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.out,
              "game 1.0.0.0: 1 files in 2 directories, 5 bytes\n"
              "  1 naked, 0 managed, 0 archived (0 stored, 0 zlib, 0 lzma) in 0 archives: 5 bytes written\n");
    EXPECT_EQ(mTree.Read("MORV/projects/game/releases/1.0.0.0/deploy/d/a.txt"), "hello");
}

TEST_F(MorvPackTest, RulesAndCompressionDecideFileByFile)
{
    mTree.Write("source/a.txt", std::string(1000, 'a'));
    mTree.Write("source/b.bin", std::string(1000, 'b'));
    mTree.Write("source/c.cfg", "c");
    mTree.Write("source/keep/d.txt", "d");
    const ToolResult result = Pack({"--release", "1.0.0.0", "--storage", "archive", "--compression", "zlib", "--rule",
                                    "*.bin=archive:lzma", "--rule", "keep/*=naked", "--rule", "*.cfg=managed"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_NE(result.out.find("1 naked, 1 managed, 2 archived (0 stored, 1 zlib, 1 lzma) in 2 archives"),
              std::string::npos)
        << result.out;
}

TEST_F(MorvPackTest, ARuleWithoutACompressionTakesTheGeneralOne)
{
    mTree.Write("source/a.txt", std::string(1000, 'a'));
    const ToolResult result = Pack({"--release", "1.0.0.0", "--compression", "lzma", "--rule", "*.txt=archive"});
    EXPECT_NE(result.out.find("1 lzma"), std::string::npos) << result.out << result.error;
}

TEST_F(MorvPackTest, TheArchiveSizeMakesSeveralArchives)
{
    for (const char *name : {"source/a", "source/b", "source/c"})
    {
        mTree.Write(name, std::string(700, 'x'));
    }
    const ToolResult result = Pack({"--release", "1.0.0.0", "--storage", "archive", "--archive-size", "1K"});
    EXPECT_NE(result.out.find("in 3 archives"), std::string::npos) << result.out << result.error;
}

TEST_F(MorvPackTest, ADeltaTellsWhatItKept)
{
    mTree.Write("source/a", "1");
    mTree.Write("source/b", "1");
    ASSERT_EQ(Pack({"--release", "1.0.0.0", "--storage", "archive"}).exitCode, 0);
    mTree.Write("source/b", "22");
    const ToolResult result = Pack({"--release", "1.0.0.1", "--storage", "archive", "--base", "1.0.0.0"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_NE(result.out.find("2 bytes written\n  1 unchanged, served from the files of release 1.0.0.0"),
              std::string::npos)
        << result.out;
}

TEST_F(MorvPackTest, AnExistingReleaseIsReplacedByForceAlone)
{
    mTree.Write("source/a", "old");
    ASSERT_EQ(Pack({"--release", "1.0.0.0"}).exitCode, 0);
    mTree.Write("source/a", "new");
    ExpectRefused(Pack({"--release", "1.0.0.0"}), "replace it with --force");
    EXPECT_EQ(mTree.Read("MORV/projects/game/releases/1.0.0.0/deploy/a"), "old");
    EXPECT_EQ(Pack({"--release", "1.0.0.0", "--force"}).exitCode, 0);
    EXPECT_EQ(mTree.Read("MORV/projects/game/releases/1.0.0.0/deploy/a"), "new");
}

TEST_F(MorvPackTest, EveryProblemOfTheSourceStandsOnALine)
{
    ExpectRefused(Pack({"--release", "1.0.0.0"}), "no such folder");
    mTree.Write("source/a", "x");
    mTree.Write("source/A", "y");
    std::filesystem::create_symlink("a", mTree.Path("source/link"));
    const ToolResult result = Pack({"--release", "1.0.0.0"});
    ExpectRefused(result, "in case alone");
    ExpectRefused(result, "\nmorv: source/link: is a symbolic link");
    EXPECT_FALSE(mTree.Exists("MORV"));
}

TEST_F(MorvPackTest, ARootThatIsNotNamedMorvIsRefusedWithTheRightName)
{
    mTree.Write("source/a", "x");
    const ToolResult result =
        RunMorv(mTree.Root(), {"pack", "source", "--root", "tree", "--project", "game", "--release", "1.0.0.0"});
    ExpectRefused(result, "use --root tree/MORV");
}

TEST_F(MorvPackTest, AnInterruptLeavesNothingHalfMade)
{
    mTree.Write("source/large", "");
    fs::resize_file(mTree.Path("source/large"), 200'000'000);
    const std::string script = "cd " + mTree.Root() +
                               " && " KELD_MORV_PROGRAM
                               " pack source --root MORV --project game --release 1.0.0.0 >out 2>error & pid=$!;"
                               "cd " +
                               mTree.Root() +
                               "; until ls MORV/projects/game | grep -q packing; do"
                               " kill -0 $pid || break; done 2>/dev/null; kill -TERM $pid; wait $pid";
    const int status = std::system(("sh -c '" + script + "' 2>/dev/null").c_str());
    const bool interrupted = WEXITSTATUS(status) == 128 + SIGTERM;
    EXPECT_TRUE(interrupted || WEXITSTATUS(status) == 0) << status;
    EXPECT_EQ(mTree.Exists("MORV/projects/game/releases/1.0.0.0/releasemanifest"), !interrupted);
    EXPECT_EQ(mTree.Read("error"), interrupted ? "morv: interrupted: no release was made or changed\n" : "");
    EXPECT_EQ(mTree.Exists("MORV"), !interrupted);
}

TEST_F(MorvPackTest, ABaseThatIsNotThereIsRefused)
{
    mTree.Write("source/a", "x");
    ExpectRefused(Pack({"--release", "1.0.0.1", "--base", "1.0.0.0"}), "has no release 1.0.0.0 to be the base");
}
} // namespace
} // namespace Keld::Test
