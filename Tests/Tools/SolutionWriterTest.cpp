#include "Tools/TreeWriter/SolutionWriter.h"

#include "Support/TempTree.h"

#include "Tools/TreeReader/TreeError.h"

#include "KeldMorvIO/environment/ConfigurationManifest.h"
#include "KeldMorvIO/environment/SolutionManifest.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using TreeReader::TreeError;
using TreeWriter::BuildConfigurationManifest;
using TreeWriter::BuildSolutionManifest;
using TreeWriter::SolutionContents;

SolutionContents SuiteContents()
{
    SolutionContents solution;
    solution.name = "suite";
    solution.release = 0x00000107;
    solution.projects = {{"client", 0x00000019, 10, 0}, {"data", 0x01020003, 20, 0}};
    solution.configurations = {{"default", {"client", "data"}}};
    return solution;
}

TEST(SolutionWriterTest, WritesOneValuePerLine)
{
    EXPECT_EQ(BuildSolutionManifest(SuiteContents()), "MORV Solution Manifest\n1.0.0.0\nsuite\n0.0.1.7\n2\n"
                                                      "client\n0.0.0.25\n10\n0\ndata\n1.2.0.3\n20\n0\n"
                                                      "1\ndefault\n0\n2\nclient\ndata\n");
    EXPECT_EQ(BuildConfigurationManifest({"default", {"client", "data"}}),
              "MORV Configuration Manifest\n1.0.0.0\ndefault\n2\nclient\ndata\n");
}

TEST(SolutionWriterTest, WritesEveryCountEvenWhenItIsZero)
{
    SolutionContents solution = SuiteContents();
    solution.projects.clear();
    solution.configurations.clear();
    EXPECT_EQ(BuildSolutionManifest(solution), "MORV Solution Manifest\n1.0.0.0\nsuite\n0.0.1.7\n0\n0\n");
    EXPECT_EQ(BuildConfigurationManifest({"none", {}}), "MORV Configuration Manifest\n1.0.0.0\nnone\n0\n");
}

TEST(SolutionWriterTest, TheReaderTakesWhatWasWritten)
{
    const TempTree tree;
    MORV::Reader::SolutionManifest solution;
    MORV::Reader::ConfigurationManifest configuration;
    ASSERT_EQ(solution.Load(tree.Write("s", BuildSolutionManifest(SuiteContents()))), 0);
    ASSERT_EQ(configuration.Load(tree.Write("c", BuildConfigurationManifest({"default", {"client", "data"}}))), 0);
    EXPECT_EQ(solution.GetName(), "suite");
    ASSERT_EQ(solution.GetProjects().size(), 2u);
    EXPECT_EQ(solution.GetProjects()[1].name, "data");
    EXPECT_EQ(solution.GetProjects()[1].priority, 20u);
    EXPECT_EQ(solution.GetConfigurations().size(), 1u);
    EXPECT_EQ(configuration.GetProjects(), (std::vector<std::string>{"client", "data"}));
}

TEST(SolutionWriterTest, RefusesNamesThatALineCannotHold)
{
    for (const std::string &name : {std::string("a\nb"), std::string("a\r"), std::string(1023, 'n')})
    {
        SolutionContents solution = SuiteContents();
        solution.name = name;
        EXPECT_THROW(BuildSolutionManifest(solution), TreeError);
    }
    SolutionContents longest = SuiteContents();
    longest.name = std::string(1022, 'n');
    EXPECT_NO_THROW(BuildSolutionManifest(longest));
}

TEST(SolutionWriterTest, RefusesNamesTwiceWithoutRegardToCase)
{
    SolutionContents projects = SuiteContents();
    projects.projects.push_back({"CLIENT", 0, 1, 0});
    EXPECT_THROW(BuildSolutionManifest(projects), TreeError);

    SolutionContents configurations = SuiteContents();
    configurations.configurations.push_back({"Default", {}});
    EXPECT_THROW(BuildSolutionManifest(configurations), TreeError);

    EXPECT_THROW(BuildConfigurationManifest({"default", {"data", "Data"}}), TreeError);
}

TEST(SolutionWriterTest, RefusesAConfigurationWithAProjectThatTheSolutionLacks)
{
    SolutionContents solution = SuiteContents();
    solution.configurations.push_back({"other", {"client", "sound"}});
    EXPECT_THROW(BuildSolutionManifest(solution), TreeError);
}
} // namespace
} // namespace Keld::Test
