#include "Tools/CheckedTree.h"
#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include <filesystem>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

/// Symbolic links in a tree, in the places where the tool has files and directories of its own. None of them leads it
/// out of the tree.
class LinkedTreeTest : public CheckedTree
{
protected:
    LinkedTreeTest()
    {
        mTree.Write("elsewhere/kept", "kept");
        mTree.Write("elsewhere/deep/kept", "kept");
        mTree.MakeDirectory("client/MORV/projects/game");
        Run({"bundle", "--root", "MORV", "game/1.0.0.0", "-o", "bundle", "--no-sync", "-q"});
        mBefore = TakeSnapshot(mTree.Path("elsewhere"));
    }

    void Run(const std::vector<std::string> &arguments) const
    {
        const ToolResult result = RunMorv(mTree.Root(), arguments);
        EXPECT_EQ(result.exitCode, 0) << result.error;
    }

    void Link(const std::string &link, const std::string &to) const
    {
        fs::create_directories(fs::path(mTree.Path(link)).parent_path());
        fs::create_symlink(mTree.Path(to), mTree.Path(link));
    }

    void ExpectElsewhereAsBefore() const { EXPECT_TRUE(TakeSnapshot(mTree.Path("elsewhere")) == mBefore); }

    const std::vector<std::string> mApply{"apply", "bundle", "--root", "client/MORV", "--no-sync", "-q"};
    TreeSnapshot mBefore;
};

TEST_F(LinkedTreeTest, OneThatIsNamedAsAStagingDirectoryIsNotEmptied)
{
    const std::string link = "client/MORV/projects/game/packing-1.0.0.0-abcdef";
    Link(link, "elsewhere");
    Run(mApply);
    ExpectElsewhereAsBefore();
    Run({"pack", "source", "--root", "client/MORV", "--project", "game", "--release", "1.0.0.9", "--no-sync", "-q"});
    ExpectElsewhereAsBefore();
    Run({"prune", "--root", "client/MORV", "--keep", "game/1.0.0.9", "--apply", "--no-sync", "-q"});
    ExpectElsewhereAsBefore();
    EXPECT_TRUE(mTree.Exists(link));
}

TEST_F(LinkedTreeTest, OneAmongWhatWasCollectedIsNotEmptied)
{
    const std::string staging = "client/MORV/arriving/apply-game-1.0.0.0/";
    mTree.MakeDirectory(staging + "whole");
    Link(staging + "doubtful", "elsewhere");
    Link(staging + "partial", "elsewhere");
    Run(mApply);
    ExpectElsewhereAsBefore();
    EXPECT_FALSE(mTree.Exists("client/MORV/arriving"));
}

TEST_F(LinkedTreeTest, OneInThePlaceOfAllThatWasCollectedIsNotEmptied)
{
    Run(mApply);
    Link("client/MORV/arriving", "elsewhere");
    Run({"prune", "--root", "client/MORV", "--keep", "game/1.0.0.0", "--apply", "--no-sync", "-q"});
    ExpectElsewhereAsBefore();
}

TEST_F(LinkedTreeTest, OneThatIsNamedAsAFileInTheMakingIsNotWrittenThrough)
{
    Link("client/MORV/arriving/apply-game-1.0.0.0/boot.new", "elsewhere/kept");
    Link("client/MORV/arriving/apply-game-1.0.0.0/publishing.new", "elsewhere/kept");
    Run(mApply);
    ExpectElsewhereAsBefore();
    const std::string release = "MORV/projects/game/releases/1.0.0.0/";
    Link(release + "shiplist.new", "elsewhere/kept");
    Run({"publish", "--root", "MORV", "game/1.0.0.0", "--no-sync", "-q"});
    ExpectElsewhereAsBefore();
    EXPECT_FALSE(fs::is_symlink(mTree.Path(release + "shiplist")));
    Link(Suite + "solutionmanifest.new", "elsewhere/kept");
    Run({"solution", "--root", "MORV", "--name", "suite", "--release", "0.0.1.0", "--project", "game=1.0.0.0:1",
         "--force", "-q"});
    ExpectElsewhereAsBefore();
}
} // namespace
} // namespace Keld::Test
