#include "Tools/OpenWatch.h"
#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include "Support/TempTree.h"

#include "Tools/TreeWriter/WriteLock.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <memory>
#include <thread>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Words = std::vector<std::string>;

/// Everything that writes to a tree, or binds its releases, waits while somebody else writes to the project, or to the
/// solution.
class WaitingCommandsTest : public testing::Test
{
protected:
    WaitingCommandsTest()
    {
        mTree.Write("source/a.txt", "old");
        Run(PackOf("1.0.0.0"));
        Run({"solution", "--root", "MORV", "--name", "suite", "--release", "1.0.0.0", "--project", "game=1.0.0.0:1"});
        mTree.MakeDirectory("client");
        fs::copy(mTree.Path("MORV"), mTree.Path("client/MORV"), fs::copy_options::recursive);
        mTree.Write("source/a.txt", "new");
        Run(PackOf("1.0.0.1"));
        Run({"bundle", "--root", "MORV", "game/1.0.0.1", "-o", "bundle", "--no-sync"});
    }

    static Words PackOf(const std::string &release)
    {
        return {"pack", "source", "--root", "MORV", "--project", "game", "--release", release, "--no-sync"};
    }

    ToolResult Run(const Words &words) const
    {
        const ToolResult result = RunMorv(mTree.Root(), words);
        EXPECT_EQ(result.exitCode, 0) << testing::PrintToString(words) << result.error;
        return result;
    }

    /// Runs a command that writes below "client/MORV" while somebody holds the lock of a directory there, and then
    /// goes.
    void ExpectWaits(const std::string &directory, const Words &words) const
    {
        SCOPED_TRACE(testing::PrintToString(words));
        auto lock = std::make_unique<TreeWriter::WriteLock>(mTree.Path("client/MORV/" + directory), [] {});
        const TreeSnapshot before = TakeSnapshot(mTree.Path("client"));
        const OpenWatch watch(mTree.Path("client/MORV"));
        std::atomic<bool> hasEnded{false};
        std::thread tool(
            [&]
            {
                Run(words);
                hasEnded = true;
            });
        // It looks at the lock again and again; what does not wait has ended by then.
        for (int looks = 0; looks < 4 && !hasEnded; looks += watch.Take()[directory + "/"])
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(5));
        }
        EXPECT_FALSE(hasEnded);
        EXPECT_TRUE(TakeSnapshot(mTree.Path("client")) == before);
        lock.reset();
        tool.join();
        EXPECT_FALSE(TakeSnapshot(mTree.Path("client")) == before);
    }

    TempTree mTree;
};

TEST_F(WaitingCommandsTest, ThoseThatChangeAProject)
{
    const std::string game = "projects/game";
    ExpectWaits(game,
                {"fetch", "MORV", "--root", "client/MORV", "--project", "game", "--release", "1.0.0.1", "--no-sync"});
    ExpectWaits(game, {"publish", "--root", "client/MORV", "--no-sync"});
    mTree.Write("client/MORV/projects/game/releases/1.0.0.1/deploy/a.txt", "bad");
    ExpectWaits(game, {"repair", "--root", "client/MORV", "--from", "MORV", "--no-sync"});
    ExpectWaits(game, {"prune", "--root", "client/MORV", "--keep", "game/1.0.0.0", "--apply"});
    ExpectWaits(game, {"apply", "bundle", "--root", "client/MORV", "--no-sync"});
    ExpectWaits(game, {"solution", "--root", "client/MORV", "--name", "other", "--release", "1.0.0.0", "--project",
                       "game=1.0.0.0:1"});
    ExpectWaits(game,
                {"pack", "source", "--root", "client/MORV", "--project", "game", "--release", "1.0.0.2", "--no-sync"});
}

TEST_F(WaitingCommandsTest, ThoseThatChangeASolution)
{
    const std::string suite = "solutions/suite";
    ExpectWaits(suite, {"publish", "--root", "client/MORV", "--no-sync"});
    ExpectWaits(suite, {"solution", "--root", "client/MORV", "--name", "suite", "--release", "1.0.0.1", "--project",
                        "game=1.0.0.0:1"});
}

TEST_F(WaitingCommandsTest, NoneWaitsForALinkToNothing)
{
    const auto expectRefused = [this](const std::string &directory, const Words &words)
    {
        const std::string link = mTree.Path("client/MORV/" + directory);
        fs::remove_all(link);
        fs::create_symlink("nothing", link);
        const ToolResult result = RunMorv(mTree.Root(), words);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_EQ(result.error, "morv: cannot follow the link " + link + ": No such file or directory\n");
    };
    expectRefused("solutions/suite", {"solution", "--root", "client/MORV", "--name", "suite", "--release", "1.0.0.1",
                                      "--project", "game=1.0.0.0:1"});
    expectRefused("projects/game",
                  {"pack", "source", "--root", "client/MORV", "--project", "game", "--release", "1.0.0.2"});
}
} // namespace
} // namespace Keld::Test
