#include "Tools/CheckedTree.h"
#include "Tools/JsonSchema.h"
#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include "Tools/TreeWriter/DirectoryProtection.h"

#include <nlohmann/json.hpp>

#include <cstdlib>

namespace Keld::Test
{
namespace
{
/// The commands as people run them.
class MorvBundleTest : public CheckedTree
{
protected:
    ToolResult Bundle(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"bundle", "--no-sync"});
        return RunMorv(mTree.Path("MORV"), arguments);
    }

    ToolResult Apply(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), {"apply", "--no-sync", "--root", "client/MORV"});
        return RunMorv(mTree.Root(), arguments);
    }

    void Shell(const std::string &command) const
    {
        ASSERT_EQ(std::system(("cd '" + mTree.Root() + "' && { " + command + "; } >/dev/null 2>&1 </dev/null").c_str()),
                  0)
            << command;
    }
};

TEST_F(MorvBundleTest, TellsWhatIsCarriedAndWhatWasBrought)
{
    const ToolResult whole = Bundle({"none", "game/1.0.0.0", "-o", "../first.bundle"});
    ASSERT_EQ(whole.exitCode, 0) << whole.error;
    EXPECT_EQ(whole.out.find("game 1.0.0.0: "), 0U) << whole.out;
    const ToolResult delta = Bundle({"game/1.0.0.0", "game/1.0.0.1", "-o", "../second.bundle"});
    EXPECT_EQ(delta.out.find("game 1.0.0.0 to game 1.0.0.1: "), 0U) << delta.out;
    EXPECT_EQ(Apply({"second.bundle"}).exitCode, 2);
    const ToolResult first = Apply({"first.bundle"});
    EXPECT_EQ(first.exitCode, 0) << first.error;
    EXPECT_EQ(first.out, whole.out.substr(0, whole.out.size() - 1) + " brought to " + mTree.Path("client/MORV") + "\n");
    EXPECT_EQ(Apply({"first.bundle"}).out, "game 1.0.0.0 is here already\n");
    EXPECT_EQ(Apply({"second.bundle", "-q"}).out, "");
    EXPECT_EQ(RunMorv(mTree.Path("client/MORV"), {"verify"}).exitCode, 0);
    const std::string release = "client/MORV/projects/game/releases/1.0.0.1";
    EXPECT_EQ(RunMorv(mTree.Path(release), {"cat", "Data/stored.raw"}).out, mTree.Read("source/Data/stored.raw"));
}

TEST_F(MorvBundleTest, ABundleGoesThroughAPipe)
{
    Shell(std::string(KELD_MORV_PROGRAM) + " bundle --root MORV solution:suite/0.0.1.0 -o - | " + KELD_MORV_PROGRAM +
          " apply --no-sync - --root client/MORV");
    EXPECT_EQ(RunMorv(mTree.Path("client/MORV"), {"verify", "solution:suite/0.0.1.0"}).exitCode, 0);
    EXPECT_EQ(Bundle({"game/1.0.0.0", "-o", "-", "--json"}).exitCode, 2);
    const ToolResult shown = RunMorvOnTerminal(mTree.Path("MORV"), {"bundle", "game/1.0.0.0", "-o", "-"});
    EXPECT_EQ(shown.exitCode, 2);
    EXPECT_NE(shown.out.find("a bundle is not for a terminal"), std::string::npos) << shown.out;
}

TEST_F(MorvBundleTest, OnlyWhatIsSignedIsTakenWhenThatIsAskedFor)
{
    Shell(std::string(KELD_MINISIGN) + " -G -W -p key.pub -s key.secret");
    Shell(std::string(KELD_MINISIGN) + " -G -W -p other.pub -s other.secret");
    ASSERT_EQ(Bundle({"game/1.0.0.0", "-o", "../plain.bundle"}).exitCode, 0);
    ASSERT_EQ(RunMorv(mTree.Root(), {"publish", "--root", "MORV", "--sign", "key.secret", "--no-sync"}).exitCode, 0);
    const ToolResult made = Bundle({"game/1.0.0.0", "-o", "../signed.bundle"});
    EXPECT_NE(made.out.find(", signed\n"), std::string::npos) << made.out;
    const ToolResult plain = Apply({"plain.bundle", "--signed", "key.pub"});
    EXPECT_EQ(plain.exitCode, 2);
    EXPECT_EQ(plain.error, "morv: plain.bundle: is not signed, and only what is signed is taken\n");
    const ToolResult other = Apply({"signed.bundle", "--signed", "other.pub"});
    EXPECT_EQ(other.exitCode, 2);
    EXPECT_NE(other.error.find("was made with key "), std::string::npos) << other.error;
    EXPECT_FALSE(mTree.Exists("client/MORV/projects"));
    const ToolResult taken = Apply({"signed.bundle", "--signed", "key.pub"});
    EXPECT_EQ(taken.exitCode, 0) << taken.error;
    EXPECT_NE(taken.out.find("\nsigned: timestamp:"), std::string::npos) << taken.out;
    EXPECT_EQ(mTree.Read("client/" + GameReleases + "1.0.0.0/shiplist.minisig"),
              mTree.Read(GameReleases + "1.0.0.0/shiplist.minisig"));
    const std::string key = mTree.Read("key.pub");
    EXPECT_EQ(Apply({"signed.bundle", "--signed", key.substr(key.find('\n') + 1, 56)}).exitCode, 0);
}

TEST_F(MorvBundleTest, TheDocumentsFollowTheirSchemas)
{
    const ToolResult made = Bundle({"game/1.0.0.0", "game/1.0.0.1", "-o", "../delta.bundle", "--json"});
    ASSERT_EQ(made.exitCode, 0) << made.error;
    ExpectMatchesSchema("bundle", made.out);
    const ToolResult whole = Bundle({"game/1.0.0.0", "-o", "../whole.bundle", "--json"});
    ExpectMatchesSchema("bundle", whole.out);
    EXPECT_TRUE(nlohmann::json::parse(whole.out)["base"].is_null());
    const ToolResult applied = Apply({"whole.bundle", "--json"});
    ASSERT_EQ(applied.exitCode, 0) << applied.error;
    ExpectMatchesSchema("apply", applied.out);
    const nlohmann::json document = nlohmann::json::parse(Apply({"delta.bundle", "--json"}).out);
    EXPECT_EQ(document["brought"]["files"], document["files"]);
    EXPECT_EQ(document["base"]["version"], "1.0.0.0");
}

TEST_F(MorvBundleTest, NeitherSideIsChangedByWhatCannotBe)
{
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    EXPECT_EQ(Bundle({"game/1.0.0.0"}).exitCode, 2); // no -o
    EXPECT_EQ(Bundle({"game/9.0.0.0", "-o", "../x.bundle"}).exitCode, 2);
    EXPECT_EQ(Bundle({"game/1.0.0.0", "-o", "../missing.d/"}).exitCode, 2);
    EXPECT_FALSE(mTree.Exists("x.bundle"));
    EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);
    const std::string data = GameArchives + "files-0001.vka.dat";
    Flip(data, PlaceOf(data, "Data/stored.raw line"));
    const ToolResult damaged = Bundle({"game/1.0.0.0", "-o", "../x.bundle"});
    EXPECT_EQ(damaged.exitCode, 2);
    EXPECT_NE(damaged.error.find("damage is not shipped"), std::string::npos) << damaged.error;
    EXPECT_FALSE(mTree.Exists("x.bundle"));
    const ToolResult missing = Apply({"missing.bundle"});
    EXPECT_EQ(missing.exitCode, 2);
    EXPECT_NE(missing.error.find("missing.bundle: No such file"), std::string::npos) << missing.error;
    EXPECT_FALSE(mTree.Exists("client"));
    EXPECT_EQ(RunMorv(mTree.Root(), {"apply", "source/new.l", "--root", "elsewhere"}).exitCode, 2);
}

TEST_F(MorvBundleTest, ASignatureOverAnotherListDoesNotStay)
{
    ASSERT_EQ(Bundle({"game/1.0.0.0", "-o", "../bundle"}).exitCode, 0);
    const std::string list = "client/" + GameReleases + "1.0.0.0/shiplist";
    mTree.Write(list, "of old");
    mTree.Write(list + ".minisig", "over that of old");
    const ToolResult applied = Apply({"bundle"});
    ASSERT_EQ(applied.exitCode, 0) << applied.error;
    EXPECT_NE(mTree.Read(list), "of old");
    EXPECT_FALSE(mTree.Exists(list + ".minisig"));
}

TEST_F(MorvBundleTest, ProtectionIsMadeAlsoForWhatAnEarlierRunBrought)
{
    ASSERT_EQ(Bundle({"game/1.0.0.0", "-o", "../bundle"}).exitCode, 0);
    ASSERT_EQ(Apply({"bundle"}).exitCode, 0);
    const std::string archives = mTree.Path("client/" + GameArchives);
    EXPECT_FALSE(TreeWriter::IsProtected(archives));
    EXPECT_EQ(Apply({"bundle", "--protect"}).out, "game 1.0.0.0 is here already\n");
    EXPECT_TRUE(TreeWriter::IsProtected(archives));
    TreeWriter::RemoveTree(mTree.Path("client"));
}
} // namespace
} // namespace Keld::Test
