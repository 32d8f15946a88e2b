#include "KeldMorvIO/environment/GatherProjects.h"

#include "Support/HexDump.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;

constexpr const char *Page = "Docs/Formats/SolutionManifest.md";

TEST(SolutionManifestPageTest, ShowsTwoManifestsThatLoadAndFitTogether)
{
    const TempTree tree;
    ReaderLogCapture log;
    SolutionManifest solution;
    ASSERT_EQ(solution.Load(tree.Write("solutionmanifest", ReadTextBlock(Page, "MORV Solution Manifest"))), S_OK);
    ConfigurationManifest configuration;
    ASSERT_EQ(
        configuration.Load(tree.Write("configurationmanifest", ReadTextBlock(Page, "MORV Configuration Manifest"))),
        S_OK);
    EXPECT_EQ(solution.GetName(), "suite");
    EXPECT_EQ(solution.GetVersion(), 0x00000107u);
    ASSERT_EQ(solution.GetConfigurations().size(), 1u);
    EXPECT_EQ(solution.GetConfigurations()[0].name, configuration.GetName());

    std::vector<SolutionManifest::PROJECT> projects;
    ASSERT_EQ(GatherProjects(configuration, solution, projects), S_OK);
    ASSERT_EQ(projects.size(), 2u);
    EXPECT_EQ(projects[0].name, "client");
    EXPECT_EQ(projects[0].version, 0x00000019u);
    EXPECT_EQ(projects[0].priority, 10u);
    EXPECT_EQ(projects[1].name, "data");
    EXPECT_EQ(projects[1].version, 0x01020003u);
    EXPECT_EQ(projects[1].priority, 20u);
    log.ExpectFailures({});
}
} // namespace
} // namespace Keld::Test
