#include "Tools/ToolRun.h"

#include "Support/ArgumentPointers.h"
#include "Support/TempTree.h"

#include "Tools/morv/CommandLine.h"
#include "Tools/morv/Progress.h"

#include <gtest/gtest.h>

#include <chrono>
#include <cstdio>
#include <filesystem>

#include <unistd.h>

namespace Keld::Test
{
namespace
{
using Words = std::vector<std::string>;

constexpr const char *WipedLine = "\r\x1b[K";

// The tool in a child of this process, on a terminal, so that its progress can appear without half a second of work.
ToolResult RunImpatiently(const std::string &directory, Words words)
{
    words.insert(words.begin(), "morv");
    std::fflush(nullptr);
    return RunOnTerminal(
        [&]
        {
            std::filesystem::current_path(directory);
            Morv::Progress::AppearAfter(std::chrono::milliseconds(0));
            std::vector<char *> pointers = ArgumentPointers(words);
            const int status = Morv::RunCommandLine(static_cast<int>(words.size()), pointers.data());
            std::fflush(nullptr);
            _exit(status);
        });
}

struct LongWork
{
    Words words;
    std::string stage; ///< one that the progress tells
};

class MorvProgressTest : public testing::Test
{
protected:
    MorvProgressTest()
    {
        mTree.Write("source/a.bin", std::string(300'000, 'a'));
        mTree.Write("source/b.bin", "b");
        Run({"pack", "source", "--root", "MORV", "--project", "game", "--release", "1.0.0.0", "--storage", "archive",
             "--no-sync"});
        Run({"bundle", "--root", "MORV", "game/1.0.0.0", "-o", "bundle", "--no-sync"});
        Run({"publish", "--root", "MORV", "--no-sync"});
        mTree.MakeDirectory("damaged");
        std::filesystem::copy(mTree.Path("MORV"), mTree.Path("damaged/MORV"), std::filesystem::copy_options::recursive);
        mTree.Remove("damaged/MORV/projects/game/filearchives/1.0.0.0/files-0001.vka.dat");
    }

    void Run(const Words &words)
    {
        const ToolResult result = RunMorv(mTree.Root(), words);
        EXPECT_EQ(result.exitCode, 0) << testing::PrintToString(words) << result.error;
    }

    TempTree mTree;
};

TEST_F(MorvProgressTest, EveryLongCommandShowsOnATerminalHowFarItIsAndWipesThatAway)
{
    const std::vector<LongWork> works{
        {{"pack", "source", "--root", "MORV", "--project", "game", "--release", "2.0.0.0", "--no-sync"}, "packing"},
        {{"-C", "MORV/projects/game/releases/1.0.0.0", "verify"}, "verifying"},
        {{"-C", "MORV/projects/game/releases/1.0.0.0", "extract", "--to", mTree.Path("out")}, "extracting"},
        {{"diff", "--root", "MORV", "game/1.0.0.0", "./source"}, "reading"},
        {{"bundle", "--root", "MORV", "game/1.0.0.0", "-o", "again", "--no-sync"}, "checking"},
        {{"publish", "--root", "MORV", "--no-sync"}, "summing"},
        {{"apply", "bundle", "--root", "applied/MORV", "--no-sync"}, "reading"},
        {{"fetch", "MORV", "--root", "fetched/MORV", "--project", "game", "--release", "1.0.0.0", "--no-sync"},
         "fetching"},
        {{"repair", "--root", "damaged/MORV", "--from", "MORV", "--no-sync"}, "fetching"},
    };
    for (const LongWork &work : works)
    {
        SCOPED_TRACE(testing::PrintToString(work.words));
        const ToolResult result = RunImpatiently(mTree.Root(), work.words);
        const std::string &shown = result.out;
        EXPECT_EQ(result.exitCode, 0) << shown;
        const std::size_t drawn = shown.find(WipedLine + work.stage + " ");
        ASSERT_NE(drawn, std::string::npos) << shown;
        const std::size_t wiped = shown.rfind(WipedLine);
        EXPECT_GT(wiped, drawn) << shown;
        EXPECT_EQ(shown.find(" %  ", wiped), std::string::npos) << "no line of it stays: " << shown;
        EXPECT_NE(shown.find("/s", drawn), std::string::npos) << shown;
    }
}

TEST_F(MorvProgressTest, QuietWorkShowsNone)
{
    const ToolResult result = RunImpatiently(
        mTree.Root(), {"-q", "-C", "MORV/projects/game/releases/1.0.0.0", "extract", "--to", mTree.Path("out")});
    EXPECT_EQ(result.exitCode, 0) << result.out;
    EXPECT_EQ(result.out, "");
}
} // namespace
} // namespace Keld::Test
