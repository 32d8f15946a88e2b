#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include "Support/ManifestImage.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

/// Two releases of "client" that share nothing.
class PruneScopeTest : public testing::Test
{
protected:
    PruneScopeTest()
    {
        Pack("MORV", "client", "1.0.0.0");
        Pack("MORV", "client", "2.0.0.0");
    }

    void Pack(const std::string &root, const std::string &project, const std::string &release) const
    {
        mTree.Write("source/a.arc", "archived " + release);
        mTree.Write("source/m.man", "managed " + release);
        mTree.Write("source/naked", "naked " + release);
        const ToolResult packed =
            RunMorv(mTree.Root(), {"pack", "source", "--root", root, "--project", project, "--release", release,
                                   "--rule", "*.arc=archive", "--rule", "*.man=managed", "--no-sync"});
        EXPECT_EQ(packed.exitCode, 0) << packed.error;
    }

    ToolResult Prune(const std::string &kept, const std::vector<std::string> &more = {}) const
    {
        std::vector<std::string> words{"prune", "--no-sync", "--apply", "--keep", kept};
        words.insert(words.end(), more.begin(), more.end());
        return RunMorv(mTree.Path("MORV"), words);
    }

    void ExpectWhole(const std::string &project, const std::string &release) const
    {
        const std::string place = mTree.Path("MORV/projects/" + project + "/releases/" + release);
        for (const char *path : {"a.arc", "m.man", "naked"})
        {
            EXPECT_EQ(RunMorv(place, {"cat", path}).exitCode, 0) << project << " " << release << " " << path;
        }
    }

    void Copy(const std::string &from, const std::string &to) const
    {
        mTree.MakeDirectory("MORV/projects/" + to);
        fs::copy(mTree.Path("MORV/projects/" + from), mTree.Path("MORV/projects/" + to), fs::copy_options::recursive);
    }

    TempTree mTree;
};

TEST_F(PruneScopeTest, ACopyIsPrunedByItself)
{
    Copy("client", "testcopy");
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV/projects/client"));
    const ToolResult pruned = Prune("testcopy/1.0.0.0");
    EXPECT_EQ(pruned.exitCode, 0) << pruned.error;
    EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV/projects/client")) == before);
    EXPECT_FALSE(mTree.Exists("MORV/projects/testcopy/releases/2.0.0.0"));
    ExpectWhole("testcopy", "1.0.0.0");
}

TEST_F(PruneScopeTest, WhatACopyThatStaysIsServedFromStays)
{
    Copy("client/releases/1.0.0.0", "old/releases/1.0.0.0");
    Pack("MORV", "client", "1.5.0.0");
    const ToolResult pruned = Prune("client/2.0.0.0");
    EXPECT_EQ(pruned.exitCode, 0) << pruned.error;
    EXPECT_NE(pruned.error.find("project old is left alone"), std::string::npos) << pruned.error;
    ExpectWhole("old", "1.0.0.0");
    ExpectWhole("client", "2.0.0.0");
    EXPECT_FALSE(mTree.Exists("MORV/projects/client/releases/1.0.0.0/releasemanifest"));
    EXPECT_FALSE(mTree.Exists("MORV/projects/client/releases/1.5.0.0"));
    EXPECT_FALSE(mTree.Exists("MORV/projects/client/filearchives/1.5.0.0"));
    EXPECT_FALSE(mTree.Exists("MORV/projects/client/managedfiles/1.5.0.0"));
}

TEST_F(PruneScopeTest, AProjectThatIsALinkTakesNothingFromTheOther)
{
    fs::create_directory_symlink("client", mTree.Path("MORV/projects/alias"));
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    EXPECT_EQ(Prune("alias/2.0.0.0").exitCode, 0);
    EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before);
    EXPECT_EQ(Prune("client/2.0.0.0").exitCode, 0);
    EXPECT_FALSE(mTree.Exists("MORV/projects/client/releases/1.0.0.0"));
    ExpectWhole("client", "2.0.0.0");
    ExpectWhole("alias", "2.0.0.0");
    EXPECT_EQ(Prune("alias/2.0.0.0", {"--everything"}).exitCode, 0); // both have one lock
    ExpectWhole("client", "2.0.0.0");
}

TEST_F(PruneScopeTest, ASharedDirectoryOfArchivesTakesNothingFromTheOther)
{
    Copy("client/releases/1.0.0.0", "linked/releases/1.0.0.0");
    fs::create_directory_symlink("../client/filearchives", mTree.Path("MORV/projects/linked/filearchives"));
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV/projects/client"));
    EXPECT_EQ(Prune("linked/1.0.0.0").exitCode, 0);
    EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV/projects/client")) == before);
}

TEST_F(PruneScopeTest, AVersionThatIsALinkTakesNothingFromAKeptRelease)
{
    fs::create_directory_symlink("1.0.0.0", mTree.Path("MORV/projects/client/releases/9.0.0.0"));
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV/projects/client/releases/1.0.0.0"));
    for (const char *kept : {"client/1.0.0.0", "client/9.0.0.0"})
    {
        const ToolResult pruned = Prune(kept);
        EXPECT_EQ(pruned.exitCode, 0) << pruned.error;
        EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV/projects/client/releases/1.0.0.0")) == before) << kept;
        ExpectWhole("client", "1.0.0.0");
    }
    EXPECT_FALSE(mTree.Exists("MORV/projects/client/releases/2.0.0.0"));
}

TEST_F(PruneScopeTest, AVersionThatIsALinkIntoAnotherTreeTakesNothingThere)
{
    Pack("other/MORV", "client", "3.0.0.0");
    fs::create_directory_symlink(mTree.Path("other/MORV/projects/client/releases/3.0.0.0"),
                                 mTree.Path("MORV/projects/client/releases/3.0.0.0"));
    const TreeSnapshot before = TakeSnapshot(mTree.Path("other"));
    EXPECT_EQ(Prune("client/2.0.0.0").exitCode, 0);
    EXPECT_TRUE(TakeSnapshot(mTree.Path("other")) == before);
}

TEST_F(PruneScopeTest, AManifestThatNamesAProjectOfAnotherTreeIsRefused)
{
    const std::string victim = "../../other/MORV/projects/victim";
    Pack("other/MORV", "victim", "1.0.0.0");
    ManifestImage image(victim);
    image.File("a.txt");
    mTree.Write("MORV/projects/aaa/releases/1.0.0.0/releasemanifest", image.Bytes());
    mTree.Write("MORV/projects/aaa/releases/1.0.0.0/deploy/a.txt", "");
    const std::string place = "MORV/solutions/suite/releases/0.0.1.0/";
    mTree.Write(place + "solutionmanifest",
                "MORV Solution Manifest\n1.0.0.0\nsuite\n0.0.1.0\n1\n" + victim + "\n1.0.0.0\n10\n0\n0\n");
    mTree.Write(place + "configurationmanifest", "MORV Configuration Manifest\n1.0.0.0\ndefault\n1\n" + victim + "\n");
    const TreeSnapshot before = TakeSnapshot(mTree.Root());
    for (const char *kept : {"aaa/1.0.0.0", "solution:suite/0.0.1.0"})
    {
        const ToolResult pruned = Prune(kept);
        EXPECT_EQ(pruned.exitCode, 2) << kept;
        EXPECT_NE(pruned.error.find("names the project \"" + victim + "\", which is no directory name"),
                  std::string::npos)
            << pruned.error;
        EXPECT_TRUE(TakeSnapshot(mTree.Root()) == before) << kept;
    }
}

TEST_F(PruneScopeTest, AnArrivingThatIsALinkIsPassedOver)
{
    mTree.Write("home/precious/file", "x");
    fs::create_directory_symlink("../home", mTree.Path("MORV/arriving"));
    const ToolResult pruned = Prune("client/2.0.0.0");
    EXPECT_EQ(pruned.exitCode, 0) << pruned.error;
    EXPECT_EQ(pruned.out.find("arriving"), std::string::npos) << pruned.out;
    EXPECT_TRUE(mTree.Exists("home/precious/file"));
}
} // namespace
} // namespace Keld::Test
