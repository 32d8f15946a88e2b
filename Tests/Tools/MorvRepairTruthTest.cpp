#include "Tools/MorvRepairFixture.h"
#include "Tools/TreeSnapshot.h"

#include "Tools/TreeWriter/SolutionWriter.h"

#include <cstdlib>
#include <random>

namespace Keld::Test
{
namespace
{
const std::string GameSecondText = "game/1.0.0.1";
const std::string SuiteText = "solution:suite/0.0.1.0";

/// What repair replaces, and what it says of it.
class MorvRepairTruthTest : public MorvRepairFixture
{
protected:
    void Run(const std::vector<std::string> &arguments) const
    {
        const ToolResult result = RunMorv(mTree.Root(), arguments);
        ASSERT_EQ(result.exitCode, 0) << result.error;
    }

    void PublishOf(const std::string &tree, std::vector<std::string> more = {}) const
    {
        more.insert(more.begin(), {"publish", "--no-sync", "-q", "--root", tree + "/MORV"});
        Run(more);
    }

    /// The server's game 1.0.0.1 is another one from then on.
    void PackAnotherGame() const
    {
        mTree.Write("another/x", "something else");
        Run({"pack", "another", "--root", "server/MORV", "--project", "game", "--release", "1.0.0.1", "--force",
             "--no-sync", "-q"});
    }

    void ExpectRefused(const std::string &release, const std::string &reason) const
    {
        const TreeSnapshot before = TakeSnapshot(mTree.Path("client/MORV/projects"));
        const TreeSnapshot solutions = TakeSnapshot(mTree.Path("client/MORV/solutions"));
        const ToolResult refused = Repair({release, "--from", "server/MORV"});
        EXPECT_EQ(refused.exitCode, 2) << refused.out;
        EXPECT_NE(refused.error.find(reason), std::string::npos) << refused.error;
        EXPECT_TRUE(TakeSnapshot(mTree.Path("client/MORV/projects")) == before);
        EXPECT_TRUE(TakeSnapshot(mTree.Path("client/MORV/solutions")) == solutions);
    }

    void MakeKey() const
    {
        const std::string make = "cd '" + mTree.Root() + "' && " + KELD_MINISIGN +
                                 " -G -W -p key.pub -s key.secret >/dev/null 2>&1 </dev/null";
        ASSERT_EQ(std::system(make.c_str()), 0);
    }

    /// One release with one manifest, whose archives differ: the client's is published and signed.
    void PackTextAtTwoLevels() const
    {
        MakeKey();
        std::mt19937 random(20261122);
        std::string text;
        while (text.size() < 100'000)
        {
            text += "word" + std::to_string(random() % 500) + " ";
        }
        mTree.Write("texts/t.txt", text);
        for (const auto &[tree, level] : {std::pair("server", "1"), std::pair("client", "9")})
        {
            Run({"pack", "texts", "--root", std::string(tree) + "/MORV", "--project", "text", "--release", "1.0.0.0",
                 "--storage", "archive", "--compression", "zlib", "--level", level, "--no-sync", "-q"});
        }
        const std::string release = "MORV/projects/text/releases/1.0.0.0/releasemanifest";
        ASSERT_EQ(mTree.Read("server/" + release), mTree.Read("client/" + release));
        PublishOf("client", {"--sign", "key.secret"});
    }

    const std::string mList = "MORV/projects/text/releases/1.0.0.0/shiplist";
};

TEST_F(MorvRepairTruthTest, ASolutionBringsNoOtherReleaseThanTheOneThatAListHereVouchesFor)
{
    const std::string reason = "server/MORV holds another game 1.0.0.1 than the tree, whose shiplist vouches";
    Publish();
    Split();
    PackAnotherGame();
    PublishOf("server");
    ExpectRefused(GameSecondText, reason);
    ExpectRefused(SuiteText, reason);

    // Where the solution alone is published here, its list vouches for what it uses.
    mTree.Remove("client/" + GameReleases + "1.0.0.1/shiplist");
    ExpectRefused(SuiteText, reason);
}

TEST_F(MorvRepairTruthTest, ASolutionBringsNoOtherReleaseThanOneThatIsWhole)
{
    Split();
    PackAnotherGame();
    ExpectRefused(SuiteText, "server/MORV holds another game 1.0.0.1 than the tree, which is whole by itself");
    PublishOf("server");
    ExpectRefused(SuiteText, "server/MORV holds another game 1.0.0.1 than the tree, which is whole by itself");
}

TEST_F(MorvRepairTruthTest, AWholeSolutionIsNotTakenForADamagedOne)
{
    Split();
    const TreeWriter::SolutionConfiguration all{"all", {"game", "extra"}};
    const std::string manifest =
        TreeWriter::BuildSolutionManifest({"suite", 0x00000100, {{"game", Second, 10}, {"extra", First, 99}}, {all}});
    mTree.Write("client/" + Suite + "solutionmanifest", manifest);
    const std::string reason = "server/MORV holds another solution suite 0.0.1.0 than the tree, which is whole";
    ExpectRefused(SuiteText, reason);
    PublishOf("server");
    ExpectRefused(SuiteText, reason);

    // A damaged one, which names a project that is not there, is healed still.
    mTree.Write("client/" + Suite + "solutionmanifest",
                TreeWriter::BuildSolutionManifest(
                    {"suite", 0x00000100, {{"game", Second, 10}, {"eytra", First, 20}}, {{"all", {"game", "eytra"}}}}));
    EXPECT_EQ(Repair({SuiteText, "--from", "server/MORV"}).exitCode, 0);
    EXPECT_EQ(mTree.Read("client/" + Suite + "solutionmanifest"), mTree.Read("server/" + Suite + "solutionmanifest"));
}

TEST_F(MorvRepairTruthTest, WhatTheTreesOwnListTellsIsToldWhereTheSourceLacksTheRelease)
{
    Publish();
    Split();
    const std::string data = "client/" + GameArchives + "files-0001.vka.dat";
    mTree.Write(data, mTree.Read(data) + "x");
    EXPECT_EQ(Repair({"game/1.0.0.0"}).exitCode, 1);
    mTree.Remove("server/" + GameReleases + "1.0.0.0");
    const ToolResult told = Repair({"game/1.0.0.0", "--from", "server/MORV"});
    EXPECT_EQ(told.exitCode, 1) << told.error;
    EXPECT_NE(told.error.find("has no game 1.0.0.0, which was left as it is"), std::string::npos) << told.error;
    EXPECT_NE(told.out.find("not healed: " + mTree.Path(data) + ": is not the file that its shiplist tells of\n"),
              std::string::npos)
        << told.out;
    EXPECT_EQ(told.out.find("nothing was needed"), std::string::npos) << told.out;
}

TEST_F(MorvRepairTruthTest, ASignatureOverAnotherListGoesWhenAListComesWithoutOne)
{
    PackTextAtTwoLevels();
    PublishOf("server");
    const ToolResult healed = Repair({"--from", "server/MORV"});
    EXPECT_EQ(healed.exitCode, 0) << healed.error;
    EXPECT_NE(healed.error.find("removed the signature of text 1.0.0.0"), std::string::npos) << healed.error;
    EXPECT_EQ(mTree.Read("client/" + mList), mTree.Read("server/" + mList));
    EXPECT_FALSE(mTree.Exists("client/" + mList + ".minisig"));

    // One over the same list stays, though the source has none.
    PublishOf("client", {"--sign", "key.secret"});
    EXPECT_EQ(Repair({"--from", "server/MORV"}).out, "nothing was needed\n");
    EXPECT_TRUE(mTree.Exists("client/" + mList + ".minisig"));
}

TEST_F(MorvRepairTruthTest, AListOfOtherFilesGoesWhenTheSourceHasNone)
{
    PackTextAtTwoLevels();
    const ToolResult healed = Repair({"--from", "server/MORV"});
    EXPECT_EQ(healed.exitCode, 0) << healed.error;
    EXPECT_NE(
        healed.error.find("removed the shiplist of text 1.0.0.0, which tells of other files than server/MORV has"),
        std::string::npos)
        << healed.error;
    EXPECT_FALSE(mTree.Exists("client/" + mList));
    EXPECT_FALSE(mTree.Exists("client/" + mList + ".minisig"));
    EXPECT_EQ(Repair({}).exitCode, 0);

    // One of the same files stays.
    PublishOf("client", {"--sign", "key.secret"});
    EXPECT_EQ(Repair({"--from", "server/MORV"}).out, "nothing was needed\n");
    EXPECT_TRUE(mTree.Exists("client/" + mList + ".minisig"));
}

TEST_F(MorvRepairTruthTest, AnEmptySourceIsRefused)
{
    Split();
    const ToolResult refused = Repair({"--from", ""});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_NE(refused.error.find("--from: has an empty value"), std::string::npos) << refused.error;
}
} // namespace
} // namespace Keld::Test
