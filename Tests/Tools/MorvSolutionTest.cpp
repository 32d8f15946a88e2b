#include "Tools/JsonSchema.h"
#include "Tools/ToolRun.h"

#include "Support/TempTree.h"

#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
/// Two projects that both have a file "shared.txt".
class MorvSolutionTest : public testing::Test
{
protected:
    MorvSolutionTest()
    {
        for (const std::string project : {"client", "data"})
        {
            mTree.Write(project + "/shared.txt", "from " + project);
            mTree.Write(project + "/" + project + ".txt", project);
            const ToolResult packed = RunMorv(
                mTree.Root(), {"pack", project, "--root", "MORV", "--project", project, "--release", "1.0.0.7"});
            EXPECT_EQ(packed.exitCode, 0) << packed.error;
        }
    }

    ToolResult Solution(const std::vector<std::string> &more)
    {
        std::vector<std::string> arguments{"solution", "--root", "MORV", "--name", "suite", "--release", "0.0.1.0"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        return RunMorv(mTree.Root(), arguments);
    }

    ToolResult Morv(const std::vector<std::string> &arguments) { return RunMorv(mTree.Path(Release), arguments); }

    void ExpectRefused(const ToolResult &result, const std::string &reason)
    {
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_NE(result.error.find(reason), std::string::npos) << result.error;
    }

    const std::string Release = "MORV/solutions/suite/releases/0.0.1.0";
    const std::vector<std::string> Both{"--project", "client=1.0.0.7:10", "--project", "data=1.0.0.7:20"};
    TempTree mTree;
};

TEST_F(MorvSolutionTest, WritesBothManifestsAndTheHigherPriorityWins)
{
    std::vector<std::string> arguments = Both;
    arguments.insert(arguments.end(), {"--configuration", "default=client,data", "--use", "client,data"});
    const ToolResult result = Solution(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_EQ(result.out, "suite 0.0.1.0: 2 projects, 2 in use\n  " + mTree.Path(Release) + "\n");
    EXPECT_EQ(mTree.Read(Release + "/solutionmanifest"),
              "MORV Solution Manifest\n1.0.0.0\nsuite\n0.0.1.0\n2\nclient\n1.0.0.7\n10\n0\ndata\n1.0.0.7\n20\n0\n"
              "1\ndefault\n0\n2\nclient\ndata\n");
    EXPECT_EQ(mTree.Read(Release + "/configurationmanifest"),
              "MORV Configuration Manifest\n1.0.0.0\ndefault\n2\nclient\ndata\n");
    EXPECT_EQ(Morv({"cat", "shared.txt"}).out, "from data");
    EXPECT_EQ(Morv({"ls"}).out, "client.txt\ndata.txt\nshared.txt\n");
    EXPECT_NE(Morv({"stat", "shared.txt"}).out.find("  project          data 1.0.0.7\n"), std::string::npos);
}

TEST_F(MorvSolutionTest, TheDocumentTellsWhatWasWrittenAndQuietTellsNothing)
{
    std::vector<std::string> arguments = Both;
    arguments.insert(arguments.end(), {"--use", "data", "--json"});
    const ToolResult result = Solution(arguments);
    EXPECT_EQ(result.exitCode, 0) << result.error;
    ExpectMatchesSchema("solution", result.out);
    const auto document = nlohmann::json::parse(result.out);
    EXPECT_EQ(document["projects"].size(), 2U);
    EXPECT_EQ(document["projects"][0]["priority"], 10);
    EXPECT_EQ(document["inUse"], nlohmann::json::array({"data"}));
    EXPECT_EQ(document["place"], mTree.Path(Release));
    arguments = Both;
    arguments.insert(arguments.end(), {"--force", "-q"});
    EXPECT_EQ(Solution(arguments).out, "");
}

TEST_F(MorvSolutionTest, InfoShowsTheListingsInTheOrderOfTheSearch)
{
    ASSERT_EQ(Solution(Both).exitCode, 0);
    const ToolResult result = Morv({"info"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    const std::string counts =
        "     2 files in 1 directory: 2 naked, 0 managed, 0 archived (0 stored, 0 zlib, 0 lzma)\n";
    EXPECT_EQ(result.out,
              "root      " + mTree.Path("MORV") +
                  "\nkind      solution\nname      suite\nversion   0.0.1.0\nuses      configuration default\n"
                  "listings  2, in the order of the search\n  1. data 1.0.0.7, priority 20\n" +
                  counts + "  2. client 1.0.0.7, priority 10\n" + counts);
}

TEST_F(MorvSolutionTest, StatLooksPastAFileThatTheWinnerHasLost)
{
    ASSERT_EQ(Solution(Both).exitCode, 0);
    mTree.Remove("MORV/projects/data/releases/1.0.0.7/deploy/shared.txt");
    EXPECT_EQ(Morv({"cat", "shared.txt"}).out, "from client");
    EXPECT_NE(Morv({"stat", "shared.txt"}).out.find("  project          client 1.0.0.7\n"), std::string::npos);
}

TEST_F(MorvSolutionTest, UseChoosesAmongTheProjects)
{
    std::vector<std::string> arguments = Both;
    arguments.insert(arguments.end(), {"--use", "client"});
    ASSERT_EQ(Solution(arguments).exitCode, 0);
    EXPECT_EQ(Morv({"cat", "shared.txt"}).out, "from client");
}

TEST_F(MorvSolutionTest, TheFirstConfigurationIsInUseUnlessToldOtherwise)
{
    std::vector<std::string> arguments = Both;
    arguments.insert(arguments.end(), {"--configuration", "small=client", "--configuration", "full=client,data"});
    ASSERT_EQ(Solution(arguments).exitCode, 0);
    EXPECT_EQ(mTree.Read(Release + "/configurationmanifest"),
              "MORV Configuration Manifest\n1.0.0.0\nsmall\n1\nclient\n");
}

TEST_F(MorvSolutionTest, RefusesWhatWouldNotStart)
{
    ExpectRefused(Solution({"--project", "client=1.0.0.8:10"}), "there is no release 1.0.0.8 of client");
    std::vector<std::string> unknown = Both;
    unknown.insert(unknown.end(), {"--use", "sound"});
    ExpectRefused(Solution(unknown), "add --project sound=VERSION:PRIORITY");
    std::vector<std::string> twice = Both;
    twice.insert(twice.end(), {"--project", "Client=1.0.0.7:10"});
    EXPECT_EQ(Solution(twice).exitCode, 2);
    std::vector<std::string> stranger = Both;
    stranger.insert(stranger.end(), {"--configuration", "default=sound", "--use", "client"});
    ExpectRefused(Solution(stranger), "which is no project of the solution");
    EXPECT_FALSE(mTree.Exists("MORV/solutions"));
}

TEST_F(MorvSolutionTest, AConfigurationWithoutAProjectIsRefused)
{
    const ToolResult result =
        RunMorv(mTree.Root(), {"solution", "--root", "MORV", "--name", "none", "--release", "0.0.1.0", "--project",
                               "client=1.0.0.0:1", "--configuration", "a="});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_NE(result.error.find("\"a=\" uses no project"), std::string::npos) << result.error;
    EXPECT_FALSE(mTree.Exists("MORV/solutions/none"));
}

TEST_F(MorvSolutionTest, AnExistingReleaseIsReplacedByForceAlone)
{
    ASSERT_EQ(Solution(Both).exitCode, 0);
    ExpectRefused(Solution(Both), "replace it with --force");
    std::vector<std::string> forced = Both;
    forced.insert(forced.end(), {"--use", "client", "--force"});
    EXPECT_EQ(Solution(forced).exitCode, 0);
    EXPECT_EQ(Morv({"cat", "shared.txt"}).out, "from client");
}

TEST_F(MorvSolutionTest, RefusesATreeInWhichNoSolutionStarts)
{
    mTree.Write("source/a", "x");
    mTree.MakeDirectory("projects");
    const ToolResult packed = RunMorv(
        mTree.Root(), {"pack", "source", "--root", "projects/MORV", "--project", "game", "--release", "1.0.0.0"});
    EXPECT_EQ(packed.exitCode, 0) << packed.error;
    const ToolResult result = RunMorv(mTree.Root(), {"solution", "--root", "projects/MORV", "--name", "suite",
                                                     "--release", "0.0.1.0", "--project", "game=1.0.0.0:1"});
    ExpectRefused(result, "always taken for a project");
}

TEST_F(MorvSolutionTest, ASolutionThatLosesAProjectNamesIt)
{
    ASSERT_EQ(Solution(Both).exitCode, 0);
    mTree.Remove("MORV/projects/client/releases/1.0.0.7/releasemanifest");
    const ToolResult result = Morv({"ls"});
    ExpectRefused(result, "there is no release 1.0.0.7 of the project client");
}
} // namespace
} // namespace Keld::Test
