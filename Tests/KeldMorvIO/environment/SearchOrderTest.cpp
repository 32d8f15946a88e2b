#include "KeldMorvIO/environment/SearchOrder.h"

#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;

using Texts = std::vector<std::string>;

class SearchOrderTest : public testing::Test
{
protected:
    void Add(const std::string &name, DWORD priority)
    {
        EXPECT_EQ(mSolution.AddProject(name, 0x01000000, priority, 0), S_OK);
    }

    void Use(const Texts &names)
    {
        for (const std::string &name : names)
        {
            EXPECT_EQ(mConfiguration.AddProject(name), S_OK);
        }
    }

    Texts Ordered()
    {
        EXPECT_EQ(GatherInSearchOrder(mConfiguration, mSolution, mProjects), S_OK);
        Texts names;
        for (const SolutionManifest::PROJECT &project : mProjects)
        {
            names.push_back(project.name);
        }
        return names;
    }

    SolutionManifest mSolution;
    ConfigurationManifest mConfiguration;
    std::vector<SolutionManifest::PROJECT> mProjects;
    ReaderLogCapture mLog;
};

TEST_F(SearchOrderTest, PutsTheHighestPriorityFirstAsAnUnsignedNumber)
{
    Add("a", 1);
    Add("b", 0x80000000);
    Add("c", 0x7FFFFFFF);
    Use({"a", "b", "c"});
    EXPECT_EQ(Ordered(), Texts({"b", "c", "a"}));
}

TEST_F(SearchOrderTest, KeepsEqualPrioritiesInTheOrderOfNamesWithoutRegardToCase)
{
    Add("b", 5);
    Add("A", 5);
    Add("c", 5);
    Add("last", 4);
    Use({"last", "c", "b", "A"});
    EXPECT_EQ(Ordered(), Texts({"A", "b", "c", "last"}));
}

TEST_F(SearchOrderTest, LeavesOutWhatTheConfigurationDoesNotName)
{
    Add("used", 1);
    Add("unused", 9);
    Use({"used"});
    EXPECT_EQ(Ordered(), Texts({"used"}));
}

TEST_F(SearchOrderTest, HasNoProjectsForAnEmptyConfiguration)
{
    Add("unused", 9);
    EXPECT_EQ(Ordered(), Texts());
    mLog.ExpectAll({});
}

TEST_F(SearchOrderTest, FailsForAProjectThatTheSolutionDoesNotKnow)
{
    Add("known", 1);
    Use({"unknown"});
    EXPECT_EQ(GatherInSearchOrder(mConfiguration, mSolution, mProjects), E_FAIL);
    mLog.ExpectAll(
        {Error("Failed to find project unknown"), Error("Failed to gather projects for user supplied project list")});
}
} // namespace
} // namespace Keld::Test
