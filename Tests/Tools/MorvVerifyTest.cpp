#include "Tools/CheckedTree.h"
#include "Tools/JsonSchema.h"
#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include "Support/AsNobody.h"

#include <nlohmann/json.hpp>

#include <filesystem>

namespace Keld::Test
{
namespace
{
/// The command as people run it.
class MorvVerifyTest : public CheckedTree
{
protected:
    ToolResult Verify(std::vector<std::string> arguments) const
    {
        arguments.insert(arguments.begin(), "verify");
        return RunMorv(mTree.Path("MORV"), arguments);
    }

    void Damage() const
    {
        const std::string data = GameArchives + "files-0001.vka.dat";
        Flip(data, PlaceOf(data, "Data/stored.raw line"));
    }
};

TEST_F(MorvVerifyTest, AWholeTreeIsToldInTwoLines)
{
    const ToolResult result = Verify({});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.error, "");
    EXPECT_EQ(result.out.find("3 releases and 1 solution: 17 files, "), 0U) << result.out;
    EXPECT_NE(result.out.find(", 5 archives\nno fault, 0 notes; "), std::string::npos) << result.out;
    EXPECT_EQ(Verify({"-q"}).out, "");
}

TEST_F(MorvVerifyTest, AFaultIsToldWithFilePathsBytesAndUsers)
{
    Damage();
    const ToolResult result = Verify({"game/1.0.0.0"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.error, "");
    const std::string index = mTree.Path(GameArchives + "files-0001.vka");
    EXPECT_EQ(result.out.find("fault: " + index + ".dat: the content is not what was packed: its digest is "), 0U)
        << result.out;
    EXPECT_NE(result.out.find("\n  file Data/stored.raw\n  storage archive " + index + ", bytes "), std::string::npos)
        << result.out;
    EXPECT_NE(result.out.find("\n  used by game/1.0.0.0\n1 release and 0 solutions: "), std::string::npos)
        << result.out;
    EXPECT_NE(result.out.find("\n1 fault, 0 notes; "), std::string::npos) << result.out;
    EXPECT_EQ(Verify({"game/1.0.0.0", "--quick"}).exitCode, 0);
    EXPECT_EQ(Verify({"extra/1.0.0.0"}).exitCode, 0);
}

TEST_F(MorvVerifyTest, ManyFaultsAreCutShortUnlessAllAreWanted)
{
    for (int number = 0; number < 25; ++number)
    {
        mTree.Write("MORV/projects/game/stray" + std::to_string(number), "");
    }
    const std::string text = Verify({}).out;
    EXPECT_NE(text.find("and 5 more notes: --all shows them\n"), std::string::npos) << text;
    EXPECT_NE(Verify({"--all"}).out.find("stray9:"), std::string::npos);
}

TEST_F(MorvVerifyTest, TheDocumentMatchesItsSchema)
{
    Damage();
    Flip(GameReleases + "1.0.0.0/deploy/Data/naked.txt", 0);
    mTree.Write("MORV/projects/game/\xFF", "stray");
    const ToolResult result = Verify({"--json", "-j", "3"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.error, "");
    ExpectMatchesSchema("verify", result.out);
    const auto document = nlohmann::json::parse(result.out);
    EXPECT_EQ(document["faults"].size(), 2U);
    EXPECT_EQ(document["faults"][0]["kind"], "wrong-digest");
    EXPECT_EQ(document["faults"][0]["files"][0], "Data/stored.raw");
    EXPECT_EQ(document["faults"][0]["users"], nlohmann::json::parse(R"(["game/1.0.0.0"])"));
    EXPECT_EQ(document["notes"][0]["path"]["escaped"], mTree.Path("MORV/projects/game/") + "\\xff");
    ExpectMatchesSchema("verify", Verify({"--json", "--quick", "solution:suite/0.0.1.0"}).out);
}

TEST_F(MorvVerifyTest, TheTreeCanBeNamedFromOutside)
{
    const std::string root = mTree.Path("MORV");
    EXPECT_EQ(RunMorv("/", {"verify", "--root", root}).exitCode, 0);
    EXPECT_EQ(RunMorv("/", {"verify", "--root", root, "game/1.0.0.0"}).exitCode, 0);
    EXPECT_EQ(RunMorv("/", {"-C", root, "verify", "game/1.0.0.0"}).exitCode, 0);
}

TEST_F(MorvVerifyTest, WhatIsNamedWronglyIsRefused)
{
    EXPECT_EQ(Verify({"game/9.0.0.0"}).exitCode, 2);
    EXPECT_NE(Verify({"game/9.0.0.0"}).error.find("there is no release game 9.0.0.0"), std::string::npos);
    EXPECT_EQ(Verify({"nonsense"}).exitCode, 2);
    const ToolResult outside = RunMorv(mTree.Root(), {"verify"});
    EXPECT_EQ(outside.exitCode, 2);
    EXPECT_NE(outside.error.find("lies in no tree"), std::string::npos) << outside.error;
    mTree.MakeDirectory("empty/MORV");
    EXPECT_NE(RunMorv(mTree.Path("empty/MORV"), {"verify"}).error.find("holds no release"), std::string::npos);
    mTree.MakeDirectory("second/MORV/projects/game/releases/1.0.0.0");
    const ToolResult two = Verify({"game/1.0.0.0", mTree.Path("second/MORV/projects/game/releases/1.0.0.0")});
    EXPECT_NE(two.error.find("verify one tree at a time"), std::string::npos) << two.error;
}

TEST_F(MorvVerifyTest, AProjectThatCannotBeLookedAtIsNoWholeTree)
{
    const std::string closed = mTree.Path("MORV/projects/extra");
    std::filesystem::permissions(mTree.Root(), std::filesystem::perms(0755));
    std::filesystem::permissions(closed, std::filesystem::perms(0));
    {
        const AsNobody nobody;
        const ToolResult result = Verify({});
        EXPECT_EQ(result.exitCode, 1);
        const std::string text = "/releases: cannot be reached: the directory " + closed + " cannot be entered\n";
        EXPECT_NE(result.out.find("fault: " + closed + text), std::string::npos) << result.out;
        const ToolResult listed = RunMorv(mTree.Path("MORV"), {"releases"});
        EXPECT_NE(listed.exitCode, 0) << "2, but under a sanitizer that nobody may not run to its end";
        EXPECT_TRUE(listed.error.starts_with("morv: " + closed + text)) << listed.error;
    }
    std::filesystem::permissions(closed, std::filesystem::perms(0755));
}

TEST_F(MorvVerifyTest, NothingInTheTreeChanges)
{
    Flip(GameArchives + "files-0001.vka", 0);
    mTree.Write("MORV/projects/game/filearchives/1.0.0.0/empty.vka", "");
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    EXPECT_EQ(Verify({}).exitCode, 1);
    EXPECT_EQ(Verify({"--quick", "solution:suite/0.0.1.0"}).exitCode, 1);
    EXPECT_EQ(TakeSnapshot(mTree.Path("MORV")), before);
}
} // namespace
} // namespace Keld::Test
