#include "Tools/JsonSchema.h"
#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include "Support/TempTree.h"

#include "Tools/TreeWriter/WriteLock.h"

#include "Tools/morv/Json.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Morv::Json;

/// Two releases of "game", of which the second is served from an archive and a managed file of the first, and one of
/// "other".
class MorvPruneTest : public testing::Test
{
protected:
    MorvPruneTest()
    {
        mTree.Write("source/kept.arc", "archived and kept");
        mTree.Write("source/kept.man", "managed and kept");
        mTree.Write("source/gone.man", "managed and gone");
        mTree.Write("source/naked", "naked");
        Pack("game", {"--release", "1.0.0.0"});
        mTree.Remove("source/gone.man");
        mTree.Write("source/new.arc", "new");
        Pack("game", {"--release", "1.0.0.1", "--base", "1.0.0.0"});
        Pack("other", {"--release", "1.0.0.0"});
    }

    void Pack(const std::string &project, std::vector<std::string> more) const
    {
        const std::vector<std::string> common{"pack",      "source",        "--root",   "MORV",
                                              "--project", project,         "--rule",   "*.arc=archive",
                                              "--rule",    "*.man=managed", "--no-sync"};
        more.insert(more.begin(), common.begin(), common.end());
        const ToolResult result = RunMorv(mTree.Root(), more);
        EXPECT_EQ(result.exitCode, 0) << result.error;
    }

    void Bind(const std::string &name, const std::string &project) const
    {
        const ToolResult made = RunMorv(mTree.Root(), {"solution", "--root", "MORV", "--name", name, "--release",
                                                       "0.0.1.0", "--project", project + ":1"});
        EXPECT_EQ(made.exitCode, 0) << made.error;
    }

    ToolResult Prune(std::vector<std::string> more) const
    {
        more.insert(more.begin(), {"prune", "--no-sync"});
        return RunMorv(mTree.Path("MORV"), more);
    }

    void ExpectRefused(const std::vector<std::string> &arguments, const std::string &reason) const
    {
        const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
        for (const bool applied : {false, true})
        {
            std::vector<std::string> words = arguments;
            words.insert(words.begin(), applied ? 1U : 0U, "--apply");
            const ToolResult result = Prune(words);
            EXPECT_EQ(result.exitCode, 2);
            EXPECT_EQ(result.out, "");
            EXPECT_NE(result.error.find(reason), std::string::npos) << result.error;
        }
        EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);
    }

    bool Exists(const std::string &path) const { return mTree.Exists("MORV/projects/game/" + path); }

    TempTree mTree;
};

TEST_F(MorvPruneTest, TellsFirstAndRemovesOnlyWhenToldTo)
{
    const std::string lines = "managed      16 bytes  projects/game/managedfiles/1.0.0.0/gone.man\n"
                              "other         5 bytes  projects/game/releases/1.0.0.0/deploy/naked\n";
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    const ToolResult told = Prune({"--keep", "game/1.0.0.1"});
    EXPECT_EQ(told.exitCode, 0);
    EXPECT_NE(told.out.find("  game 1.0.0.0\n" + lines + "would remove 3 files in "), std::string::npos) << told.out;
    EXPECT_NE(told.out.find("kept: game 1.0.0.1\n"), std::string::npos) << told.out;
    EXPECT_EQ(told.error, "morv: note: project other is left alone: nothing of it is kept; --everything removes it\n");
    EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);

    const ToolResult removed = Prune({"--keep", "game/1.0.0.1", "--apply", "-q"});
    EXPECT_EQ(removed.exitCode, 0) << removed.error;
    EXPECT_NE(removed.out.find("  game 1.0.0.0\n" + lines), std::string::npos) << removed.out;
    EXPECT_FALSE(Exists("releases/1.0.0.0"));
    EXPECT_FALSE(Exists("managedfiles/1.0.0.0/gone.man"));
    EXPECT_TRUE(Exists("filearchives/1.0.0.0/files-0001.vka.dat"));
    for (const char *path : {"kept.arc", "kept.man", "new.arc", "naked"})
    {
        EXPECT_EQ(RunMorv(mTree.Path("MORV/projects/game/releases/1.0.0.1"), {"cat", path}).exitCode, 0) << path;
    }
    EXPECT_EQ(Prune({"--keep", "game/1.0.0.1", "-q"}).out, "");
    EXPECT_TRUE(mTree.Exists("MORV/projects/other/releases/1.0.0.0/releasemanifest"));
}

TEST_F(MorvPruneTest, WithoutItsDeltaTheFirstReleaseKeepsItsOwn)
{
    const ToolResult removed = Prune({"--keep", "./projects/game/releases/1.0.0.0", "--apply", "--everything"});
    EXPECT_EQ(removed.exitCode, 0) << removed.error;
    EXPECT_FALSE(Exists("releases/1.0.0.1"));
    EXPECT_FALSE(Exists("filearchives/1.0.0.1"));
    EXPECT_TRUE(Exists("managedfiles/1.0.0.0/gone.man"));
    EXPECT_EQ(RunMorv(mTree.Path("MORV"), {"stats", "--releases"}).out.find("other"), std::string::npos);
}

TEST_F(MorvPruneTest, AKeptSolutionKeepsItsReleasesAndOthersAreNotBroken)
{
    Bind("suite", "game=1.0.0.0");
    ExpectRefused({"--keep", "game/1.0.0.1"},
                  "solution suite 0.0.1.0 uses game 1.0.0.0, which would be removed: keep it with --keep "
                  "solution:suite/0.0.1.0");
    const ToolResult kept = Prune({"--keep", "game/1.0.0.1", "solution:suite/0.0.1.0", "--apply"});
    EXPECT_EQ(kept.exitCode, 0) << kept.error;
    EXPECT_TRUE(Exists("releases/1.0.0.0/releasemanifest"));
    EXPECT_EQ(Prune({"--keep", "game/1.0.0.1", "--everything", "--apply"}).exitCode, 0);
    EXPECT_FALSE(Exists("releases/1.0.0.0"));
    EXPECT_FALSE(mTree.Exists("MORV/solutions/suite/releases/0.0.1.0"));
    EXPECT_EQ(RunMorv(mTree.Path("MORV/projects/game/releases/1.0.0.1"), {"cat", "kept.arc"}).out, "archived and kept");
}

TEST_F(MorvPruneTest, RefusesWhereItCannotTellWhatIsNeeded)
{
    ExpectRefused({"--keep", "game/9.0.0.0"}, "there is no release 9.0.0.0 of the project game");
    ExpectRefused({}, "--keep is required");
    mTree.Write("MORV/projects/game/filearchives/1.0.0.0/odd.vka", "no index");
    ExpectRefused({"--keep", "game/1.0.0.1"}, "is to be kept, but what it needs cannot be told");
    mTree.Write("MORV/projects/game/releases/1.0.0.1/releasemanifest", "no manifest at all");
    ExpectRefused({"--keep", "game/1.0.0.1"}, "is no release manifest");
}

TEST_F(MorvPruneTest, WhatLinksLeadToStays)
{
    fs::rename(mTree.Path("MORV/projects/game/managedfiles/1.0.0.0/kept.man"),
               mTree.Path("MORV/projects/game/managedfiles/1.0.0.0/elsewhere"));
    fs::create_symlink("elsewhere", mTree.Path("MORV/projects/game/managedfiles/1.0.0.0/kept.man"));
    EXPECT_EQ(Prune({"--keep", "game/1.0.0.1", "--apply"}).exitCode, 0);
    EXPECT_EQ(mTree.Read("MORV/projects/game/managedfiles/1.0.0.0/kept.man"), "managed and kept");
}

TEST_F(MorvPruneTest, RemovesWhatAKilledPackLeftAndWritesADocument)
{
    mTree.Write("MORV/projects/game/packing-1.0.0.2-abcdef/new/filearchives/x", "half");
    const ToolResult told = Prune({"--keep", "game/1.0.0.1", "--json"});
    ExpectMatchesSchema("prune", told.out);
    EXPECT_EQ(Json::parse(told.out)["leftovers"][0], "projects/game/packing-1.0.0.2-abcdef");
    EXPECT_TRUE(Exists("packing-1.0.0.2-abcdef"));
    const ToolResult removed = Prune({"--keep", "game/1.0.0.1", "--json", "--apply"});
    ExpectMatchesSchema("prune", removed.out);
    EXPECT_EQ(Json::parse(removed.out)["releases"][0]["version"], "1.0.0.0");
    EXPECT_FALSE(Exists("packing-1.0.0.2-abcdef"));
}

TEST_F(MorvPruneTest, RemovesWhatAKilledFetchLeftAndNothingThatIsAtWork)
{
    mTree.Write("MORV/arriving/game-2.0.0.0/partial/projects/game/managedfiles/2.0.0.0/x", "half");
    mTree.Write("MORV/arriving/game-3.0.0.0/partial/projects/game/managedfiles/3.0.0.0/x", "half");
    auto held = std::make_unique<TreeWriter::WriteLock>(mTree.Path("MORV/arriving/game-3.0.0.0"), [] {});
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    const ToolResult told = Prune({"--keep", "game/1.0.0.0", "game/1.0.0.1"});
    EXPECT_NE(told.out.find("leftover   unfinished  arriving/game-2.0.0.0/\n"), std::string::npos) << told.out;
    EXPECT_EQ(told.out.find("game-3.0.0.0"), std::string::npos) << told.out;
    EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);
    const ToolResult removed = Prune({"--keep", "game/1.0.0.0", "game/1.0.0.1", "--json", "--apply"});
    ExpectMatchesSchema("prune", removed.out);
    EXPECT_EQ(Json::parse(removed.out)["leftovers"], Json::array({"arriving/game-2.0.0.0"}));
    EXPECT_FALSE(mTree.Exists("MORV/arriving/game-2.0.0.0"));
    EXPECT_TRUE(mTree.Exists("MORV/arriving/game-3.0.0.0/partial"));
    held.reset();
    EXPECT_EQ(Prune({"--keep", "game/1.0.0.0", "game/1.0.0.1", "--apply"}).exitCode, 0);
    EXPECT_FALSE(mTree.Exists("MORV/arriving"));
}
} // namespace
} // namespace Keld::Test
