#include "Tools/TreeReader/Deployment.h"

#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/ReleaseManifestWriter.h"
#include "Tools/TreeWriter/SolutionWriter.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using TreeReader::DeployedFile;
using TreeReader::Deployment;
using TreeReader::ReleaseContents;
using TreeReader::ResolveDeployment;
using TreeReader::TreeError;

class DeploymentTest : public testing::Test
{
protected:
    void WriteRelease(const std::string &project, const std::vector<std::string> &paths)
    {
        ReleaseContents contents;
        contents.project = project;
        contents.release = 0x01000000;
        for (const std::string &path : paths)
        {
            contents.files.push_back({path, 0x01000000, {}, 0, 1});
        }
        mTree.Write("MORV/projects/" + project + "/releases/1.0.0.0/releasemanifest",
                    TreeWriter::BuildReleaseManifest(contents));
    }

    void WriteSolution(const std::vector<std::string> &use)
    {
        TreeWriter::SolutionContents solution;
        solution.name = "suite";
        solution.release = 0x00000100;
        solution.projects = {{"low", 0x01000000, 10, 0}, {"high", 0x01000000, 20, 0}, {"also", 0x01000000, 10, 0}};
        mTree.Write(Solution + "/solutionmanifest", TreeWriter::BuildSolutionManifest(solution));
        mTree.Write(Solution + "/configurationmanifest", TreeWriter::BuildConfigurationManifest({"main", use}));
    }

    const std::string Solution = "MORV/solutions/suite/releases/0.0.1.0";
    TempTree mTree;
    ReaderLogCapture mLog;
};

TEST_F(DeploymentTest, AProjectResolvesFromAnyDirectoryInItsRelease)
{
    WriteRelease("game", {"a"});
    const Deployment deployment = ResolveDeployment(mTree.Path("MORV/projects/game/releases/1.0.0.0/deploy/x"));
    EXPECT_EQ(deployment.root, mTree.Path("MORV"));
    EXPECT_FALSE(deployment.isSolution);
    EXPECT_EQ(deployment.name, "game");
    EXPECT_EQ(deployment.version, 0x01000000u);
    ASSERT_EQ(deployment.releases.size(), 1u);
    EXPECT_EQ(deployment.releases[0].contents.files.size(), 1u);
}

TEST_F(DeploymentTest, ASolutionResolvesInTheOrderOfTheSearch)
{
    for (const char *project : {"low", "high", "also"})
    {
        WriteRelease(project, {"a"});
    }
    WriteSolution({"low", "high", "also"});
    const Deployment deployment = ResolveDeployment(mTree.Path(Solution));
    EXPECT_TRUE(deployment.isSolution);
    EXPECT_EQ(deployment.configuration, "main");
    ASSERT_EQ(deployment.releases.size(), 3u);
    EXPECT_EQ(deployment.releases[0].project, "high");
    EXPECT_EQ(deployment.releases[0].priority, 20u);
    EXPECT_EQ(deployment.releases[1].project, "also");
    EXPECT_EQ(deployment.releases[2].project, "low");
}

TEST_F(DeploymentTest, TellsWhatIsMissing)
{
    EXPECT_THROW(ResolveDeployment("/"), TreeError);
    EXPECT_THROW(ResolveDeployment(std::string(2000, 'x')), TreeError);
    EXPECT_THROW(ResolveDeployment(mTree.Path("MORV/projects/game/releases/1.0.0.0")), TreeError);
    EXPECT_THROW(ResolveDeployment(mTree.Path(Solution)), TreeError);
    WriteSolution({"low"});
    EXPECT_THROW(ResolveDeployment(mTree.Path(Solution)), TreeError); // no release of the project
}

TEST_F(DeploymentTest, FindsTheFirstReleaseThatReallyHasAPath)
{
    WriteRelease("high", {"both", "Name/only"});
    WriteRelease("low", {"both", "name"});
    WriteRelease("also", {"x"});
    WriteSolution({"low", "high"});
    const Deployment deployment = ResolveDeployment(mTree.Path(Solution));
    const auto all = [](const auto &, const auto &)
    {
        return true;
    };
    const auto lowAlone = [](const auto &release, const auto &)
    {
        return release.project == "low";
    };
    EXPECT_EQ(FindInDeployment(deployment, "BOTH", all).release->project, "high");
    EXPECT_EQ(FindInDeployment(deployment, "both", lowAlone).release->project, "low");
    EXPECT_EQ(FindInDeployment(deployment, "name", all).file, nullptr); // the directory of the first wins
    EXPECT_EQ(FindInDeployment(deployment, "", all).release->project, "high");
    EXPECT_EQ(FindInDeployment(deployment, "none", all).release, nullptr);
}
} // namespace
} // namespace Keld::Test
