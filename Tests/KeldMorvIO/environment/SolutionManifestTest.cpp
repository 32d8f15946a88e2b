#include "KeldMorvIO/environment/SolutionManifestFixture.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <filesystem>
#include <iterator>

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;

class SolutionManifestTest : public SolutionManifestFixture
{
};

TEST_F(SolutionManifestTest, StartsEmpty)
{
    EXPECT_EQ(mManifest.GetName(), "");
    EXPECT_EQ(mManifest.GetVersion(), 0xFFFFFFFFu);
    EXPECT_TRUE(mManifest.GetProjects().empty());
    EXPECT_TRUE(mManifest.GetConfigurations().empty());
}

TEST_F(SolutionManifestTest, ReadsProjectsAndConfigurations)
{
    for (const std::string lineEnd : {"\n", "\r\n"})
    {
        ASSERT_EQ(Load(Sample(), lineEnd), S_OK);
        EXPECT_EQ(mManifest.GetName(), "suite");
        EXPECT_EQ(mManifest.GetVersion(), 0x00000107u);
        ASSERT_EQ(ProjectNames(), Texts({"client", "data"}));
        EXPECT_EQ(mManifest.GetProjects()[0].version, 0x00000019u);
        EXPECT_EQ(mManifest.GetProjects()[0].priority, 10u);
        EXPECT_EQ(mManifest.GetProjects()[0].flags, 0u);
        EXPECT_EQ(mManifest.GetProjects()[1].version, 0x01020003u);
        EXPECT_EQ(mManifest.GetProjects()[1].priority, 20u);
        ASSERT_EQ(mManifest.GetConfigurations().size(), 1u);
        EXPECT_EQ(mManifest.GetConfigurations()[0].name, "default");
        EXPECT_EQ(mManifest.GetConfigurations()[0].projects, Texts({"client", "data"}));
        mLog.ExpectAll({Progress("(\"" + mFiles.Disk().Path("manifest") + "\")", LoadSignature)});
    }
}

TEST_F(SolutionManifestTest, SortsBothTablesWithoutRegardToCase)
{
    ASSERT_EQ(Load(With({"3", "delta", "1.0.0.0", "1",   "0", "Alpha", "1.0.0.0", "2",     "0",    "beta", "1.0.0.0",
                         "3", "0",     "2",       "Zwo", "1", "2",     "delta",   "ALPHA", "eins", "2",    "0"})),
              S_OK);
    EXPECT_EQ(ProjectNames(), Texts({"Alpha", "beta", "delta"}));
    ASSERT_EQ(mManifest.GetConfigurations().size(), 2u);
    EXPECT_EQ(mManifest.GetConfigurations()[0].name, "eins");
    EXPECT_EQ(mManifest.GetConfigurations()[0].flags, 2u);
    EXPECT_EQ(mManifest.GetConfigurations()[1].name, "Zwo");
    EXPECT_EQ(mManifest.GetConfigurations()[1].projects, Texts({"ALPHA", "delta"}));
}

// Inserted into a row one by one they take ten seconds.
TEST_F(SolutionManifestTest, SortsManyProjectsThatComeInDescendingOrder)
{
    constexpr int count = 100000;
    Texts lines = With({std::to_string(count)});
    for (int index = count; index > 0; --index)
    {
        const Texts project{std::to_string(1000000 + index), "1.0.0.0", "0", "0"};
        lines.insert(lines.end(), project.begin(), project.end());
    }
    lines.insert(lines.end(), {"0"});
    EXPECT_EQ(Load(lines), MORV::Reader::S_OK);
    const Texts names = ProjectNames();
    EXPECT_EQ(names.size(), static_cast<std::size_t>(count));
    EXPECT_TRUE(std::is_sorted(names.begin(), names.end()));
}

TEST_F(SolutionManifestTest, ReadsCountsAsPlainDecimalsAndFieldsInAnyBase)
{
    ASSERT_EQ(Load(With({"01x", "client", "1.0.0.0", "010", "0x20", "1abc", "default", "0", "0x1", "client"})), S_OK);
    EXPECT_EQ(mManifest.GetProjects()[0].priority, 8u);
    EXPECT_EQ(mManifest.GetProjects()[0].flags, 32u);
    EXPECT_EQ(mManifest.GetConfigurations()[0].projects, Texts({"client"}));

    Texts ten = {"010"};
    for (int index = 0; index < 10; ++index)
    {
        ten.insert(ten.end(), {"p" + std::to_string(index), "1.0.0.0", "0", "0"});
    }
    ten.push_back("0");
    ASSERT_EQ(Load(With(ten)), S_OK);
    EXPECT_EQ(mManifest.GetProjects().size(), 10u);

    ASSERT_EQ(Load(With({"3abc", "a", "1.0.0.0", "0", "0", "b", "1.0.0.0", "0", "0", "c", "1.0.0.0", "0", "0", "0"})),
              S_OK);
    EXPECT_EQ(mManifest.GetProjects().size(), 3u);
}

TEST_F(SolutionManifestTest, ReadsNoRecordsForACountBelowOne)
{
    for (const std::string count : {"0", "-1", "-99999999999", "none", ""})
    {
        ASSERT_EQ(Load(With({count, "0"})), S_OK) << count;
        EXPECT_TRUE(mManifest.GetProjects().empty());
        ASSERT_EQ(Load(With({count, count})), S_OK) << count;
        EXPECT_TRUE(mManifest.GetConfigurations().empty());
    }
}

TEST_F(SolutionManifestTest, DoesNotReadWhatStandsBehindTheLastConfiguration)
{
    Texts lines = Sample();
    lines.insert(lines.end(), {"more", "and more"});
    EXPECT_EQ(Load(lines), S_OK);
}

TEST_F(SolutionManifestTest, AcceptsTheMagicLineInAnyCase)
{
    Texts lines = Sample();
    lines[0] = "morv SOLUTION manifest";
    EXPECT_EQ(Load(lines), S_OK);
}

TEST_F(SolutionManifestTest, TakesAMissingCountForNoneUnlessAnErrorNumberIsLeftOver)
{
    const std::string path = mFiles.Write(ManifestLines(With({"0"})));
    errno = 0;
    EXPECT_EQ(mManifest.Load(path), S_OK);
    mLog.ExpectAll({Progress("(\"" + path + "\")", LoadSignature), Progress(Text(0), ConfigurationsSignature)});

    errno = EIO;
    EXPECT_EQ(mManifest.Load(path), E_FAIL);
    mLog.ExpectAll({Progress("(\"" + path + "\")", LoadSignature), Error(Text(EIO), ConfigurationsSignature),
                    Error("fgets failed while reading project count", ConfigurationsSignature),
                    Error("Failed to load configurations", LoadSignature)});

    const std::string shorter = mFiles.Write(ManifestLines(Header()));
    errno = 0;
    EXPECT_EQ(mManifest.Load(shorter), S_OK);
    mLog.ExpectAll({Progress("(\"" + path + "\")", LoadSignature), Progress(Text(0), ProjectsSignature),
                    Progress(Text(0), ConfigurationsSignature)});
    errno = EIO;
    EXPECT_EQ(mManifest.Load(shorter), E_FAIL);
    mLog.ExpectAll({Progress("(\"" + path + "\")", LoadSignature), Error(Text(EIO), ProjectsSignature),
                    Error("fgets failed while reading project count", ProjectsSignature),
                    Error("Failed to load projects", LoadSignature)});
}

TEST_F(SolutionManifestTest, StartsEachLoadWithEmptyTables)
{
    ASSERT_EQ(Load(Sample()), S_OK);
    ASSERT_EQ(Load(Sample()), S_OK);
    EXPECT_EQ(mManifest.GetProjects().size(), 2u);
    EXPECT_EQ(mManifest.Load(mFiles.Disk().Path("nothing")), E_FAIL);
    EXPECT_TRUE(mManifest.GetProjects().empty());
    EXPECT_TRUE(mManifest.GetConfigurations().empty());
    EXPECT_EQ(mManifest.GetName(), "suite");
    EXPECT_EQ(mManifest.GetVersion(), 0x00000107u);
}

TEST_F(SolutionManifestTest, TakesAnOverlongLineForTwo)
{
    // A name of 1023 characters fits its line; of one more the last character is the next field.
    const std::string name(1023, 'n');
    ASSERT_EQ(Load(With({"1", name, "", "1.0.0.0", "1", "0", "0"})), E_FAIL);
    mLog.ExpectFailures({Error("Failed to convert version string \"\n\"."), Error("Failed to read project version"),
                         Error("Failed to load projects")});
    ASSERT_EQ(Load(With({"1", name + "1.0.0.0", "1", "0", "0"})), S_OK);
    EXPECT_EQ(ProjectNames(), Texts({name}));
}

TEST_F(SolutionManifestTest, ClosesItsFileInEveryCase)
{
    const auto openFiles = []
    {
        return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
    };
    const auto before = openFiles();
    EXPECT_EQ(Load(Sample()), S_OK);
    EXPECT_EQ(Load({"nothing"}), E_FAIL);
    EXPECT_EQ(Load(With({"1"})), E_FAIL);
    EXPECT_EQ(openFiles(), before);
}
} // namespace
} // namespace Keld::Test
