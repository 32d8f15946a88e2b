#include "KeldMorvIO/environment/GatherProjects.h"

#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;

using Texts = std::vector<std::string>;

const std::string NamesSignature =
    "HRESULT Keld::MORV::Reader::GatherProjects(const std::vector<std::string> &, const SolutionManifest &, "
    "std::vector<SolutionManifest::PROJECT> &)";
const std::string NameSignature = "HRESULT Keld::MORV::Reader::GatherProjects(const std::string &, const "
                                  "SolutionManifest &, std::vector<SolutionManifest::PROJECT> &)";
const std::string ManifestSignature =
    "HRESULT Keld::MORV::Reader::GatherProjects(const ConfigurationManifest &, const SolutionManifest &, "
    "std::vector<SolutionManifest::PROJECT> &)";

class GatherProjectsTest : public testing::Test
{
protected:
    GatherProjectsTest()
    {
        DWORD priority = 0;
        for (const char *name : {"delta", "Alpha", "beta"})
        {
            EXPECT_EQ(mSolution.AddProject(name, 0x01000000 + priority, priority, priority + 100), S_OK);
            ++priority;
        }
        EXPECT_EQ(mSolution.AddConfiguration("default", Texts({"delta", "beta"}), 0), S_OK);
    }

    HRESULT Gather(const Texts &names) { return GatherProjects(names, mSolution, mProjects); }

    Texts Gathered() const
    {
        Texts names;
        for (const SolutionManifest::PROJECT &project : mProjects)
        {
            names.push_back(project.name);
        }
        return names;
    }

    SolutionManifest mSolution;
    std::vector<SolutionManifest::PROJECT> mProjects;
    ReaderLogCapture mLog;
};

TEST_F(GatherProjectsTest, SortsByNameInWhateverOrderTheNamesCome)
{
    EXPECT_EQ(Gather({"delta", "beta", "Alpha"}), S_OK);
    EXPECT_EQ(Gathered(), Texts({"Alpha", "beta", "delta"}));
    mLog.ExpectAll({});
}

TEST_F(GatherProjectsTest, FindsANameInAnyCaseAndKeepsTheSpellingOfTheSolution)
{
    EXPECT_EQ(Gather({"ALPHA", "DELTA"}), S_OK);
    ASSERT_EQ(Gathered(), Texts({"Alpha", "delta"}));
    EXPECT_EQ(mProjects[0].version, 0x01000001u);
    EXPECT_EQ(mProjects[0].priority, 1u);
    EXPECT_EQ(mProjects[0].flags, 101u);
}

TEST_F(GatherProjectsTest, GivesTwoRecordsForANameThatStandsTwice)
{
    EXPECT_EQ(Gather({"beta", "Alpha", "BETA"}), S_OK);
    EXPECT_EQ(Gathered(), Texts({"Alpha", "beta", "beta"}));
}

TEST_F(GatherProjectsTest, GathersNothingFromNoNames)
{
    EXPECT_EQ(Gather({}), S_OK);
    EXPECT_TRUE(mProjects.empty());
}

TEST_F(GatherProjectsTest, EndsAtTheFirstUnknownNameAndKeepsWhatItHas)
{
    EXPECT_EQ(Gather({"delta", "stranger", "beta", "other"}), E_FAIL);
    EXPECT_EQ(Gathered(), Texts({"delta"}));
    mLog.ExpectAll({Error("Failed to find project stranger", NamesSignature)});
}

TEST_F(GatherProjectsTest, KnowsNoProjectWithoutANameUnlessThereIsOne)
{
    EXPECT_EQ(Gather({""}), E_FAIL);
    mLog.ExpectAll({Error("Failed to find project ", NamesSignature)});
    EXPECT_EQ(mSolution.AddProject("", 0x02000000, 0, 0), S_OK);
    EXPECT_EQ(Gather({"", ""}), S_OK);
    EXPECT_EQ(Gathered(), Texts({"", ""}));
}

TEST_F(GatherProjectsTest, GathersAConfigurationOfTheSolutionByName)
{
    EXPECT_EQ(GatherProjects(std::string("DEFAULT"), mSolution, mProjects), S_OK);
    EXPECT_EQ(Gathered(), Texts({"beta", "delta"}));
    mLog.ExpectAll({});
}

TEST_F(GatherProjectsTest, RefusesAConfigurationThatTheSolutionDoesNotHave)
{
    EXPECT_EQ(GatherProjects(std::string("other"), mSolution, mProjects), E_FAIL);
    EXPECT_TRUE(mProjects.empty());
    mLog.ExpectAll({Error("Failed to find configuration", NameSignature)});
}

TEST_F(GatherProjectsTest, GathersTheConfigurationOfTheInstallation)
{
    ConfigurationManifest configuration;
    EXPECT_EQ(configuration.AddProject("delta"), S_OK);
    EXPECT_EQ(configuration.AddProject("ALPHA"), S_OK);
    EXPECT_EQ(GatherProjects(configuration, mSolution, mProjects), S_OK);
    EXPECT_EQ(Gathered(), Texts({"Alpha", "delta"}));

    EXPECT_EQ(configuration.AddProject("stranger"), S_OK);
    mProjects.clear();
    EXPECT_EQ(GatherProjects(configuration, mSolution, mProjects), E_FAIL);
    mLog.ExpectAll({Error("Failed to find project stranger", NamesSignature),
                    Error("Failed to gather projects for user supplied project list", ManifestSignature)});
}
} // namespace
} // namespace Keld::Test
