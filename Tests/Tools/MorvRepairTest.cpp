#include "Tools/JsonSchema.h"
#include "Tools/MorvRepairFixture.h"
#include "Tools/TreeSnapshot.h"

#include "Tools/TreeWriter/DirectoryProtection.h"

#include <nlohmann/json.hpp>

#include <cstdlib>
#include <filesystem>
#include <random>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

using MorvRepairTest = MorvRepairFixture;

TEST_F(MorvRepairTest, WithoutASourceItTellsWhatWouldBeNeeded)
{
    Split();
    EXPECT_EQ(Repair({}).exitCode, 0);
    EXPECT_EQ(Repair({}).out, "nothing is needed\n");
    DamageOneFile();
    mTree.Remove("client/" + GameReleases + "1.0.0.0/deploy/Data/naked.txt");
    const TreeSnapshot before = TakeSnapshot(mTree.Path("client"));
    const ToolResult told = Repair({});
    EXPECT_EQ(told.exitCode, 1) << told.error;
    EXPECT_NE(told.out.find("damaged"), std::string::npos) << told.out;
    EXPECT_NE(told.out.find("  projects/game/filearchives/1.0.0.0/files-0001.vka.dat (1 range of "), std::string::npos)
        << told.out;
    EXPECT_NE(told.out.find("missing"), std::string::npos) << told.out;
    EXPECT_NE(told.out.find("1.0.0.0/deploy/Data/naked.txt\n"), std::string::npos) << told.out;
    EXPECT_NE(told.out.find(" of 2 files would be needed: --from SOURCE gets them\n"), std::string::npos) << told.out;
    EXPECT_NE(told.error.find("note: game 1.0.0.0 has no shiplist here"), std::string::npos) << told.error;
    EXPECT_TRUE(TakeSnapshot(mTree.Path("client")) == before);
}

TEST_F(MorvRepairTest, OnlyTheDamagedRangeOfAnArchiveIsFetched)
{
    Publish();
    Split();
    DamageOneFile();
    const ToolResult healed = Repair({"--from", "server/MORV", "--json"});
    ASSERT_EQ(healed.exitCode, 0) << healed.error << healed.out;
    ExpectMatchesSchema("repair", healed.out);
    const nlohmann::json document = nlohmann::json::parse(healed.out);
    ASSERT_EQ(document["needs"].size(), 1U);
    ASSERT_EQ(document["needs"][0]["ranges"].size(), 1U);
    EXPECT_EQ(document["brought"]["files"], 1);
    EXPECT_EQ(document["brought"]["bytes"], document["needs"][0]["bytes"]);
    EXPECT_LT(document["brought"]["bytes"], document["needs"][0]["size"]);
    ExpectSameBytes();
    EXPECT_EQ(Repair({"--from", "server/MORV"}).out, "nothing was needed\n");
}

TEST_F(MorvRepairTest, DamageAtRandomPlacesIsHealedByteForByte)
{
    Publish();
    std::mt19937 random(20261121);
    for (int round = 0; round < 12; ++round)
    {
        SCOPED_TRACE(round);
        Split();
        const std::vector<std::string> files = FilesOf("client/MORV");
        for (int damage = 0; damage < 4; ++damage)
        {
            const std::string file = "client/MORV/" + files[random() % files.size()];
            SCOPED_TRACE(file);
            const std::string bytes = mTree.Exists(file) ? mTree.Read(file) : "";
            const bool isPublished = file.ends_with("shiplist");
            switch (bytes.empty() || isPublished ? 0 : random() % 4)
            {
            case 0:
                fs::remove(mTree.Path(file));
                break;
            case 1:
                mTree.Write(file, bytes.substr(0, random() % bytes.size()));
                break;
            default:
                Flip(file, random() % bytes.size(), static_cast<unsigned char>(1U << random() % 8));
                break;
            }
        }
        // By name, as of a release of which all is lost nobody would know.
        const ToolResult healed = Repair(
            {"game/1.0.0.0", "game/1.0.0.1", "extra/1.0.0.0", "solution:suite/0.0.1.0", "--from", "server/MORV"});
        EXPECT_EQ(healed.exitCode, 0) << healed.error << healed.out;
        ExpectSameBytes();
    }
}

TEST_F(MorvRepairTest, ADirectoryWithoutShiplistsHealsEveryStorageAndTheManifests)
{
    Split();
    DamageOneFile();
    Flip("client/" + GameArchives + "files-0001.vka", 0);
    Flip("client/" + GameReleases + "1.0.0.1/releasemanifest", 0);
    Flip("client/MORV/projects/game/managedfiles/1.0.0.0/Data/managed.bin", 3);
    mTree.Remove("client/" + GameReleases + "1.0.0.0/deploy/Data/naked.txt");
    mTree.Remove("client/MORV/projects/extra/releases/1.0.0.0/releasemanifest");
    mTree.Remove("client/" + Suite + "configurationmanifest");
    const ToolResult healed = Repair({"--from", "server/MORV"});
    EXPECT_EQ(healed.exitCode, 0) << healed.error << healed.out;
    ExpectSameBytes();
}

TEST_F(MorvRepairTest, ProtectionStaysAsItWasAndIsMadeWhereThatIsAskedFor)
{
    Publish();
    Split();
    const std::string archives = mTree.Path("client/" + GameArchives);
    const auto damageAndHeal = [this](std::vector<std::string> more)
    {
        DamageOneFile();
        more.insert(more.begin(), {"--from", "server/MORV"});
        const ToolResult healed = Repair(more);
        EXPECT_EQ(healed.exitCode, 0) << healed.error;
    };
    damageAndHeal({});
    EXPECT_FALSE(TreeWriter::IsProtected(archives));
    damageAndHeal({"--protect"});
    EXPECT_TRUE(TreeWriter::IsProtected(archives));
    EXPECT_TRUE(TreeWriter::IsProtected(mTree.Path("client/MORV/projects/extra/filearchives/1.0.0.0")));
    damageAndHeal({});
    EXPECT_TRUE(TreeWriter::IsProtected(archives));
    TreeWriter::RemoveTree(mTree.Path("client"));
    EXPECT_EQ(Repair({"--protect"}).exitCode, 2);
}

TEST_F(MorvRepairTest, AReleaseOfWhichNothingIsHereIsToldAndBroughtByName)
{
    Split();
    fs::remove_all(mTree.Path("client/" + GameReleases + "1.0.0.0"));
    const ToolResult told = Repair({"--from", "server/MORV"});
    EXPECT_EQ(told.exitCode, 0) << told.error;
    EXPECT_EQ(told.out, "nothing was needed\n");
    EXPECT_NE(told.error.find("note: server/MORV also has game 1.0.0.0, of which nothing is here; name a release to "
                              "get it back all the same\n"),
              std::string::npos)
        << told.error;
    EXPECT_FALSE(mTree.Exists("client/" + GameReleases + "1.0.0.0"));
    const ToolResult brought = Repair({"game/1.0.0.0", "--from", "server/MORV"});
    EXPECT_EQ(brought.exitCode, 0) << brought.error;
    ExpectSameBytes();
    EXPECT_EQ(Repair({"--from", "server/MORV"}).error.find("also has"), std::string::npos);
}

TEST_F(MorvRepairTest, ASolutionBringsBackTheReleasesThatItUses)
{
    Split();
    fs::remove_all(mTree.Path("client/" + GameReleases + "1.0.0.1"));
    fs::remove_all(mTree.Path("client/MORV/projects/extra"));
    const ToolResult healed = Repair({"--from", "server/MORV"});
    EXPECT_EQ(healed.exitCode, 0) << healed.error << healed.out;
    ExpectSameBytes();
}

TEST_F(MorvRepairTest, ASourceThatIsDamagedItselfIsNoSource)
{
    Split();
    DamageOneFile();
    const std::string data = GameArchives + "files-0001.vka.dat";
    Flip("server/" + data, PlaceOf("server/" + data, "Data/stored.raw line"), 0x01);
    const TreeSnapshot before = TakeSnapshot(mTree.Path("client/MORV/projects"));
    const ToolResult refused = Repair({"--from", "server/MORV"});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_NE(refused.error.find("damage is not shipped"), std::string::npos) << refused.error;
    EXPECT_TRUE(TakeSnapshot(mTree.Path("client/MORV/projects")) == before);
    EXPECT_FALSE(mTree.Exists("client/MORV/arriving"));
}

TEST_F(MorvRepairTest, ASourceWhoseFilesAreNotThoseOfItsListIsRefused)
{
    Publish();
    Split();
    DamageOneFile();
    const std::string data = "server/" + GameArchives + "files-0001.vka.dat";
    Flip(data, PlaceOf(data, "Data/stored.raw line"), 0x01);
    const ToolResult refused = Repair({"--from", "server/MORV"});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_NE(refused.error.find("files-0001.vka.dat: is not the file that its shiplist tells of"), std::string::npos)
        << refused.error;
    EXPECT_FALSE(mTree.Exists("client/MORV/arriving"));
}

TEST_F(MorvRepairTest, AnotherReleaseOfTheSameVersionIsNotTaken)
{
    Publish();
    Split();
    DamageOneFile();
    mTree.Write("other/x", "something else");
    const ToolResult packed = RunMorv(mTree.Root(), {"pack", "other", "--root", "server/MORV", "--project", "game",
                                                     "--release", "1.0.0.1", "--force", "--no-sync"});
    ASSERT_EQ(packed.exitCode, 0) << packed.error;
    const ToolResult refused = Repair({"game/1.0.0.1", "--from", "server/MORV"});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_NE(refused.error.find("holds another game 1.0.0.1 than the tree"), std::string::npos) << refused.error;
    const ToolResult missing = Repair({"extra/1.0.0.0", "--from", "server/MORV"});
    EXPECT_EQ(missing.exitCode, 0) << missing.error;
    fs::remove_all(mTree.Path("server/MORV/projects/extra"));
    const ToolResult noted = Repair({"extra/1.0.0.0", "--from", "server/MORV"});
    EXPECT_NE(noted.error.find("has no extra 1.0.0.0, which was left as it is"), std::string::npos) << noted.error;
}

TEST_F(MorvRepairTest, OnlyWhatASignedListTellsOfIsTakenWhenThatIsAskedFor)
{
    const std::string make =
        "cd '" + mTree.Root() + "' && " + KELD_MINISIGN + " -G -W -p key.pub -s key.secret >/dev/null 2>&1 </dev/null";
    ASSERT_EQ(std::system(make.c_str()), 0);
    Publish();
    Split();
    DamageOneFile();
    const ToolResult refused = Repair({"--from", "server/MORV", "--signed", "key.pub"});
    EXPECT_EQ(refused.exitCode, 2);
    EXPECT_NE(refused.error.find("shiplist.minisig: is no signature of minisign"), std::string::npos) << refused.error;
    Publish({"--sign", "key.secret"});
    Split();
    DamageOneFile();
    EXPECT_EQ(Repair({"--from", "server/MORV", "--signed", "key.pub"}).exitCode, 0);
    ExpectSameBytes();
    EXPECT_EQ(Repair({"--signed", "key.pub"}).exitCode, 2);
}

TEST_F(MorvRepairTest, DamageThatNoReaderSeesIsToldByTheTreesOwnList)
{
    Publish();
    Split();
    const std::string manifest = "client/" + GameReleases + "1.0.0.0/releasemanifest";
    const std::string bytes = mTree.Read(manifest);
    // A byte of which the tree itself cannot tell that it is wrong, where there is one; any other is told anyhow.
    Flip(manifest, bytes.size() - 2);
    const ToolResult told = Repair({"game/1.0.0.0", "--json"});
    EXPECT_EQ(told.exitCode, 1);
    ExpectMatchesSchema("repair", told.out);
    EXPECT_NE(told.out.find("releases/1.0.0.0/releasemanifest"), std::string::npos) << told.out;
    EXPECT_EQ(Repair({"--from", "server/MORV"}).exitCode, 0);
    ExpectSameBytes();
}
} // namespace
} // namespace Keld::Test
