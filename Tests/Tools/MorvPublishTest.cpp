#include "Tools/CheckedTree.h"
#include "Tools/JsonSchema.h"
#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include "Tools/Delivery/Sums/ShipList.h"

#include <nlohmann/json.hpp>

#include <cstdlib>

namespace Keld::Test
{
namespace
{
using Delivery::ShipList;

/// The command as people run it.
class MorvPublishTest : public CheckedTree
{
protected:
    static inline const std::string SecondRelease = GameReleases + "1.0.0.1/";

    ToolResult Publish(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"publish", "--no-sync"});
        return RunMorv(mTree.Path("MORV"), arguments);
    }

    void MakeKey() const
    {
        const std::string command = "cd '" + mTree.Root() + "' && " + KELD_MINISIGN +
                                    " -G -W -p key.pub -s key.secret >/dev/null 2>&1 </dev/null";
        ASSERT_EQ(std::system(command.c_str()), 0);
    }

    bool IsSignatureGood(const std::string &list) const
    {
        const std::string command = "cd '" + mTree.Root() + "' && " + KELD_MINISIGN + " -V -q -p key.pub -m " + list +
                                    " >/dev/null 2>&1 </dev/null";
        return std::system(command.c_str()) == 0;
    }

    ToolResult PackAgain(const std::string &release) const
    {
        return RunMorv(mTree.Root(), {"pack", "source", "--root", "MORV", "--project", "game", "--release", release,
                                      "--force", "--no-sync", "-q"});
    }
};

TEST_F(MorvPublishTest, EachReleaseGetsAListOfAllThatItNeeds)
{
    const ToolResult result = Publish({});
    ASSERT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.error, "");
    EXPECT_NE(result.out.find("game 1.0.0.1: "), std::string::npos) << result.out;
    EXPECT_NE(result.out.find("solution suite 0.0.1.0: "), std::string::npos) << result.out;
    const auto list = ShipList::Parse(mTree.Read(SecondRelease + "shiplist"), "list");
    ASSERT_TRUE(list) << list.GetFault().GetMessage();
    for (const Delivery::ShippedFile &file : list->GetFiles())
    {
        const std::string bytes = mTree.Read("MORV/" + file.path);
        EXPECT_EQ(file.size, bytes.size()) << file.path;
        EXPECT_EQ(file.sum, Delivery::SumOf(bytes)) << file.path;
    }
    EXPECT_NE(list->Find("projects/game/filearchives/1.0.0.0/files-0001.vka.dat"), nullptr);
    EXPECT_NE(list->Find("projects/game/releases/1.0.0.1/releasemanifest"), nullptr);
    const auto suite = ShipList::Parse(mTree.Read(Suite + "shiplist"), "list");
    ASSERT_TRUE(suite) << suite.GetFault().GetMessage();
    EXPECT_NE(suite->Find("solutions/suite/releases/0.0.1.0/solutionmanifest"), nullptr);
    EXPECT_NE(suite->Find("projects/extra/releases/1.0.0.0/releasemanifest"), nullptr);
}

TEST_F(MorvPublishTest, ReadersAndChecksOfTheTreeIgnoreIt)
{
    ASSERT_EQ(Publish({}).exitCode, 0);
    ExpectFaults({});
    EXPECT_TRUE(Check().notes.empty());
    const ToolResult files = RunMorv(mTree.Path(SecondRelease), {"find"});
    EXPECT_EQ(files.exitCode, 0) << files.error;
    EXPECT_EQ(files.out.find("shiplist"), std::string::npos);
}

TEST_F(MorvPublishTest, PublishingTwiceChangesNothingAndASignatureStays)
{
    MakeKey();
    ASSERT_EQ(Publish({"--sign", mTree.Path("key.secret")}).exitCode, 0);
    EXPECT_TRUE(IsSignatureGood(SecondRelease + "shiplist"));
    EXPECT_TRUE(IsSignatureGood(Suite + "shiplist"));
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    const ToolResult again = Publish({"game/1.0.0.1"});
    EXPECT_NE(again.out.find(", as before, signed before\n"), std::string::npos) << again.out;
    EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);
}

TEST_F(MorvPublishTest, ASignatureOverAnotherListGoes)
{
    MakeKey();
    ASSERT_EQ(Publish({"--sign", "../key.secret", "game/1.0.0.1"}).exitCode, 0);
    mTree.Write(SecondRelease + "shiplist", "of old");
    const ToolResult result = Publish({"game/1.0.0.1"});
    EXPECT_NE(result.out.find("no longer signed: its signature was over another list"), std::string::npos)
        << result.out;
    EXPECT_FALSE(mTree.Exists(SecondRelease + "shiplist.minisig"));
}

TEST_F(MorvPublishTest, APackThatReplacesAReleaseTakesItsListAway)
{
    MakeKey();
    ASSERT_EQ(Publish({"--sign", "../key.secret"}).exitCode, 0);
    const ToolResult packed = PackAgain("1.0.0.1");
    ASSERT_EQ(packed.exitCode, 0) << packed.error;
    EXPECT_FALSE(mTree.Exists(SecondRelease + "shiplist"));
    EXPECT_FALSE(mTree.Exists(SecondRelease + "shiplist.minisig"));
    EXPECT_TRUE(mTree.Exists(GameReleases + "1.0.0.0/shiplist.minisig"));
    EXPECT_TRUE(mTree.Exists(SecondRelease + "releasemanifest"));
}

TEST_F(MorvPublishTest, APackThatReplacesAReleaseTakesTheListsOfItsSolutionsAway)
{
    MakeKey();
    ASSERT_EQ(Publish({"--sign", "../key.secret"}).exitCode, 0);
    const ToolResult other = PackAgain("1.0.0.2");
    ASSERT_EQ(other.exitCode, 0) << other.error;
    EXPECT_TRUE(mTree.Exists(Suite + "shiplist.minisig"));
    const ToolResult packed = RunMorv(mTree.Root(), {"pack", "source", "--root", "MORV", "--project", "game",
                                                     "--release", "1.0.0.1", "--force", "--no-sync"});
    ASSERT_EQ(packed.exitCode, 0) << packed.error;
    EXPECT_NE(packed.error.find("removed the shiplist of the solution suite 0.0.1.0"), std::string::npos)
        << packed.error;
    EXPECT_FALSE(mTree.Exists(Suite + "shiplist"));
    EXPECT_FALSE(mTree.Exists(Suite + "shiplist.minisig"));
}

TEST_F(MorvPublishTest, APackThatReplacesAReleaseTellsOfSolutionsThatCannotBeLookedThrough)
{
    ASSERT_EQ(Publish({}).exitCode, 0);
    const std::vector<std::string> pack{"pack", "source",    "--root",  "MORV",    "--project",
                                        "game", "--release", "1.0.0.1", "--force", "--no-sync"};
    mTree.Write(Suite + "solutionmanifest", "nothing");
    const ToolResult damaged = RunMorv(mTree.Root(), pack);
    ASSERT_EQ(damaged.exitCode, 0) << damaged.error;
    EXPECT_NE(damaged.error.find("whether a shiplist of the solution suite 0.0.1.0 tells of the release before cannot "
                                 "be told: "),
              std::string::npos)
        << damaged.error;
    EXPECT_TRUE(mTree.Exists(Suite + "shiplist"));

    mTree.Remove("MORV/solutions");
    mTree.Write("MORV/solutions", "no directory");
    const ToolResult packed = RunMorv(mTree.Root(), pack);
    ASSERT_EQ(packed.exitCode, 0) << packed.error;
    EXPECT_NE(
        packed.error.find("whether a shiplist of the solutions there tells of the release before cannot be told: " +
                          mTree.Path("MORV/solutions")),
        std::string::npos)
        << packed.error;
}

TEST_F(MorvPublishTest, AListThatNoLongerFitsIsToldByFetchWithWhatToDo)
{
    ASSERT_EQ(Publish({}).exitCode, 0);
    const std::string list = mTree.Read(Suite + "shiplist");
    ASSERT_EQ(PackAgain("1.0.0.1").exitCode, 0);
    mTree.Write(Suite + "shiplist", list); // as a server has it that got the new release alone
    const std::vector<std::string> fetch{"fetch", "MORV",      "--root",  "client/MORV", "--solution",
                                         "suite", "--release", "0.0.1.0", "--no-sync"};
    const ToolResult refused = RunMorv(mTree.Root(), fetch);
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_NE(refused.error.find("a release that was packed anew is published anew (morv publish)"), std::string::npos)
        << refused.error;
    EXPECT_FALSE(mTree.Exists("client/MORV/projects"));
    ASSERT_EQ(Publish({}).exitCode, 0);
    EXPECT_EQ(RunMorv(mTree.Root(), fetch).exitCode, 0);
}

TEST_F(MorvPublishTest, ASolutionThatIsWrittenAnewLosesItsList)
{
    ASSERT_EQ(Publish({}).exitCode, 0);
    const ToolResult made = RunMorv(mTree.Root(), {"solution", "--root", "MORV", "--name", "suite", "--release",
                                                   "0.0.1.0", "--project", "game=1.0.0.0:1", "--force"});
    ASSERT_EQ(made.exitCode, 0) << made.error;
    EXPECT_FALSE(mTree.Exists(Suite + "shiplist"));
}

TEST_F(MorvPublishTest, PruningARemovedReleaseTakesItsListAndKeepsTheOthers)
{
    ASSERT_EQ(Publish({}).exitCode, 0);
    const ToolResult pruned =
        RunMorv(mTree.Path("MORV"), {"prune", "--keep", "game/1.0.0.0", "--everything", "--apply", "--no-sync"});
    ASSERT_EQ(pruned.exitCode, 0) << pruned.error;
    EXPECT_FALSE(mTree.Exists("MORV/projects/extra/releases/1.0.0.0"));
    EXPECT_FALSE(mTree.Exists(SecondRelease));
    EXPECT_FALSE(mTree.Exists(Suite));
    EXPECT_TRUE(mTree.Exists(GameReleases + "1.0.0.0/shiplist"));
    EXPECT_TRUE(Check().notes.empty());
}

TEST_F(MorvPublishTest, DamageIsNotVouchedFor)
{
    const std::string data = GameArchives + "files-0001.vka.dat";
    Flip(data, PlaceOf(data, "Data/stored.raw line"));
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    const ToolResult damaged = Publish({"game/1.0.0.0"});
    EXPECT_EQ(damaged.exitCode, 2);
    EXPECT_EQ(damaged.out, "");
    EXPECT_NE(damaged.error.find("the tree is damaged, and damage is not shipped:"), std::string::npos)
        << damaged.error;
    mTree.Remove(data);
    EXPECT_EQ(Publish({"game/1.0.0.0", "--no-check"}).exitCode, 2);
    EXPECT_FALSE(mTree.Exists(GameReleases + "1.0.0.0/shiplist"));
    EXPECT_EQ(Publish({"nothing/1.0.0.0"}).exitCode, 2);
    EXPECT_EQ(Publish({"extra/1.0.0.0", "--sign", "../missing"}).exitCode, 2);
    EXPECT_EQ(Publish({"extra/1.0.0.0", "--sign", "../source/new.l"}).exitCode, 2);
    EXPECT_FALSE(mTree.Exists("MORV/projects/extra/releases/1.0.0.0/shiplist"));
}

TEST_F(MorvPublishTest, ItsDocumentFollowsTheSchema)
{
    MakeKey();
    const ToolResult result = Publish({"--json", "--sign", "../key.secret", "-j", "2"});
    ASSERT_EQ(result.exitCode, 0) << result.error;
    ExpectMatchesSchema("publish", result.out);
    const nlohmann::json document = nlohmann::json::parse(result.out);
    ASSERT_EQ(document["releases"].size(), 4U);
    EXPECT_EQ(document["releases"][3]["kind"], "solution");
    EXPECT_EQ(document["releases"][3]["signature"], "made");
    EXPECT_EQ(document["releases"][0]["changed"], true);
    EXPECT_NE(mTree.Read("key.pub").find(document["key"].get<std::string>()), std::string::npos);

    nlohmann::json shorter = document;
    shorter["key"] = "9ED00CBA2F0EA75"; // as one key of sixteen has it
    ExpectMatchesSchema("publish", shorter.dump());
}
} // namespace
} // namespace Keld::Test
