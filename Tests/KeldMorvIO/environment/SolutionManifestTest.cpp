#include "KeldMorvIO/environment/SolutionManifest.h"

#include "KeldMorvIO/environment/StreamFaults.h"
#include "KeldMorvIO/environment/TextFile.h"
#include "Support/DeploymentTree.h"
#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <filesystem>
#include <iterator>

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;

using Texts = std::vector<std::string>;

const std::string LoadSignature = "HRESULT Keld::MORV::Reader::SolutionManifest::Load(const std::string &)";
const std::string HeaderSignature = "HRESULT Keld::MORV::Reader::SolutionManifest::LoadHeader(FILE *const)";
const std::string ProjectsSignature = "HRESULT Keld::MORV::Reader::SolutionManifest::LoadProjects(FILE *const)";
const std::string ConfigurationsSignature =
    "HRESULT Keld::MORV::Reader::SolutionManifest::LoadConfigurations(FILE *const)";
const std::string AddSignature = "HRESULT Keld::MORV::Reader::SolutionManifest::AddConfiguration(const std::string "
                                 "&, const std::vector<std::string> &, const DWORD)";

class SolutionManifestTest : public testing::Test
{
protected:
    SolutionManifestTest() { errno = 0; }

    static Texts Header() { return {"MORV Solution Manifest", "1.0.0.0", "suite", "0.0.1.7"}; }

    static Texts Sample()
    {
        return With({"2", "client", "0.0.0.25", "10", "0", "data", "1.2.0.3", "20", "0", "1", "default", "0", "2",
                     "client", "data"});
    }

    static Texts With(const Texts &lines)
    {
        Texts all = Header();
        all.insert(all.end(), lines.begin(), lines.end());
        return all;
    }

    HRESULT Load(const Texts &lines, const std::string &lineEnd = "\n")
    {
        return mManifest.Load(mFiles.Write(ManifestLines(lines, lineEnd)));
    }

    // Loads, and holds the lines between the first, which names the file, and the last, which names the section.
    void ExpectRefusal(const Texts &lines, const std::string &section, std::vector<ExpectedLine> middle)
    {
        EXPECT_EQ(Load(lines), E_FAIL);
        middle.insert(middle.begin(), Progress("(\"" + mFiles.Disk().Path("manifest") + "\")", LoadSignature));
        middle.push_back(Error("Failed to load " + section, LoadSignature));
        mLog.ExpectAll(middle);
    }

    Texts ProjectNames() const
    {
        Texts names;
        for (const SolutionManifest::PROJECT &project : mManifest.GetProjects())
        {
            names.push_back(project.name);
        }
        return names;
    }

    static std::string Text(int error) { return std::strerror(error); }

    TextFiles mFiles;
    ReaderLogCapture mLog;
    SolutionManifest mManifest;
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

TEST_F(SolutionManifestTest, RefusesAnotherMagicLine)
{
    for (const std::string magic : {"MORV Solution Manifest ", " MORV Solution Manifest", "MORV Solution", ""})
    {
        Texts lines = Sample();
        lines[0] = magic;
        ExpectRefusal(lines, "header", {Error("Magic string does not match", HeaderSignature)});
    }
    ExpectRefusal({}, "header", {Error("Magic string does not match", HeaderSignature)});
}

TEST_F(SolutionManifestTest, RefusesAnotherFileVersion)
{
    for (const std::string version : {"1.0.0.1", "2.0.0.0", "0.0.0.0", "latest", "", "1.0.0.0 "})
    {
        Texts lines = Sample();
        lines[1] = version;
        ExpectRefusal(lines, "header", {Error("File version mismatch", HeaderSignature)});
    }
}

TEST_F(SolutionManifestTest, RefusesASolutionVersionThatIsNone)
{
    Texts lines = Sample();
    lines[3] = "0.0.1";
    ExpectRefusal(lines, "header", {Error("Invalid format for solution version string \"0.0.1\".", HeaderSignature)});
    EXPECT_EQ(mManifest.GetName(), "suite"); // what was read so far stays
    ExpectRefusal({"MORV Solution Manifest", "1.0.0.0"}, "header",
                  {Error("Invalid format for solution version string \"\".", HeaderSignature)});
}

TEST_F(SolutionManifestTest, RefusesAProjectWithABadField)
{
    ExpectRefusal(With({"1", "client", "1.0", "1", "0", "0"}), "projects",
                  {Error("Failed to convert version string \"1.0\n\"."),
                   Error("Failed to read project version", ProjectsSignature)});
    ExpectRefusal(With({"1", "client", "1.0.0.0", "high", "0", "0"}), "projects",
                  {Error("Could not convert string to number"), Error("Failed to read priority", ProjectsSignature)});
    ExpectRefusal(With({"1", "client", "1.0.0.0", "1", "none", "0"}), "projects",
                  {Error("Could not convert string to number"), Error("Failed to read flags", ProjectsSignature)});
}

TEST_F(SolutionManifestTest, RefusesTwoProjectsOfOneName)
{
    ExpectRefusal(With({"2", "client", "1.0.0.0", "1", "0", "CLIENT", "2.0.0.0", "2", "0", "0"}), "projects",
                  {Error("Failed to add project", ProjectsSignature)});
    EXPECT_EQ(ProjectNames(), Texts({"client"}));
}

TEST_F(SolutionManifestTest, RefusesAConfigurationWithABadField)
{
    ExpectRefusal(
        With({"0", "1", "default", "x", "0"}), "configurations",
        {Error("Could not convert string to number"), Error("Failed to read flags", ConfigurationsSignature)});
    ExpectRefusal(
        With({"0", "1", "default", "0", "x"}), "configurations",
        {Error("Could not convert string to number"), Error("Failed to read project count", ConfigurationsSignature)});
}

TEST_F(SolutionManifestTest, RefusesAConfigurationOfAnUnknownProject)
{
    ExpectRefusal(
        With({"1", "client", "1.0.0.0", "1", "0", "1", "default", "0", "2", "client", "data"}), "configurations",
        {Error("Configuration references unknown project.  Add projects before configurations.", AddSignature),
         Error("Failed to add configuration", ConfigurationsSignature)});
}

TEST_F(SolutionManifestTest, RefusesTwoConfigurationsOfOneName)
{
    ExpectRefusal(With({"0", "2", "default", "0", "0", "Default", "0", "0"}), "configurations",
                  {Error("Failed to add configuration", ConfigurationsSignature)});
    EXPECT_EQ(mManifest.GetConfigurations().size(), 1u);
}

TEST_F(SolutionManifestTest, LooksForUnknownProjectsBeforeItLooksForDuplicates)
{
    ExpectRefusal(
        With({"0", "2", "default", "0", "0", "default", "0", "1", "client"}), "configurations",
        {Error("Configuration references unknown project.  Add projects before configurations.", AddSignature),
         Error("Failed to add configuration", ConfigurationsSignature)});
}

TEST_F(SolutionManifestTest, EndsAConfigurationAtTheFirstProjectThatItNamesTwice)
{
    ExpectRefusal(With({"1", "client", "1.0.0.0", "1", "0", "1", "default", "0", "3", "client", "Client", "client"}),
                  "configurations", {Error("Duplicate project in configuration", ConfigurationsSignature)});
    EXPECT_TRUE(mManifest.GetConfigurations().empty());
}

TEST_F(SolutionManifestTest, EndsAHugeCountAtTheEndOfTheFile)
{
    // The names behind the end are empty, and the second empty name is a duplicate.
    ExpectRefusal(With({"0", "1", "default", "0", "0xFFFFFFFF"}), "configurations",
                  {Error("Duplicate project in configuration", ConfigurationsSignature)});
    // So many projects end at the first that is not there; the number's overflow is the error that is left over.
    ExpectRefusal(
        With({"99999999999999999999"}), "projects",
        {Error(Text(ERANGE)), Error("fgets failed"), Error("Failed to read project version", ProjectsSignature)});
}

TEST_F(SolutionManifestTest, SaturatesACountInsteadOfCuttingIt)
{
    // 4294967297 cut to 32 bits would be one project, and the file would load.
    Texts lines = With({"4294967297", "client", "1.0.0.0", "1", "0"});
    ExpectRefusal(lines, "projects",
                  {Progress(Text(0)), Error("Failed to convert version string \"\"."),
                   Error("Failed to read project version", ProjectsSignature)});
}

TEST_F(SolutionManifestTest, NamesWhatCannotBeReadFromAStream)
{
    EXPECT_EQ(mManifest.LoadHeader(mFiles.OpenUnreadable().get()), E_FAIL);
    mLog.ExpectAll(
        {Error(Text(1)), Error("fgets failed"), Error("Failure while getting magic string", HeaderSignature)});

    errno = 0;
    EXPECT_EQ(mManifest.LoadProjects(mFiles.OpenUnreadable().get()), E_FAIL);
    mLog.ExpectAll(
        {Error(Text(EISDIR), ProjectsSignature), Error("fgets failed while reading project count", ProjectsSignature)});

    EXPECT_EQ(mManifest.LoadConfigurations(mFiles.OpenUnreadable().get()), E_FAIL);
    mLog.ExpectAll({Error(Text(EISDIR), ConfigurationsSignature),
                    Error("fgets failed while reading project count", ConfigurationsSignature)});
}

TEST_F(SolutionManifestTest, NamesTheFieldThatCannotBeRead)
{
    const auto expect =
        [this](int line, const std::string &section, const ExpectedLine &cause, const std::vector<ExpectedLine> &field)
    {
        SCOPED_TRACE(line);
        std::vector<ExpectedLine> middle = {cause};
        middle.insert(middle.end(), field.begin(), field.end());
        FailReadAfter(line);
        ExpectRefusal(Sample(), section, middle);
    };
    // The texts report the stream's mark, which is 1, and the numbers the system's error.
    const ExpectedLine text = Error(Text(1));
    const ExpectedLine number = Error(Text(FailedReadError));
    const auto field = [](const std::string &message, const std::string &signature)
    {
        return std::vector<ExpectedLine>{Error("fgets failed"), Error(message, signature)};
    };
    const auto count = [](const std::string &signature)
    {
        return std::vector<ExpectedLine>{Error("fgets failed while reading project count", signature)};
    };

    expect(0, "header", text, field("Failure while getting magic string", HeaderSignature));
    expect(1, "header", text, field("Failure while getting file version string", HeaderSignature));
    expect(2, "header", text, field("Failed to read solution name", HeaderSignature));
    expect(3, "header", text, field("Failure while getting solution version string", HeaderSignature));
    expect(4, "projects", number, count(ProjectsSignature));
    for (const int project : {5, 9})
    {
        expect(project, "projects", text, field("Failed to read project name", ProjectsSignature));
        expect(project + 1, "projects", number, field("Failed to read project version", ProjectsSignature));
        expect(project + 2, "projects", number, field("Failed to read priority", ProjectsSignature));
        expect(project + 3, "projects", number, field("Failed to read flags", ProjectsSignature));
    }
    expect(13, "configurations", number, count(ConfigurationsSignature));
    expect(14, "configurations", text, field("Failed to read name", ConfigurationsSignature));
    expect(15, "configurations", number, field("Failed to read flags", ConfigurationsSignature));
    expect(16, "configurations", number, field("Failed to read project count", ConfigurationsSignature));
    for (const int name : {17, 18})
    {
        expect(name, "configurations", text,
               field("Failed to read name of project in configuration", ConfigurationsSignature));
    }
}

TEST_F(SolutionManifestTest, RefusesADirectoryOfItsName)
{
    const std::string path = mFiles.Disk().MakeDirectory("solutionmanifest");
    EXPECT_EQ(mManifest.Load(path), E_FAIL);
    mLog.ExpectAll({Progress("(\"" + path + "\")", LoadSignature), Error(Text(1)), Error("fgets failed"),
                    Error("Failure while getting magic string", HeaderSignature),
                    Error("Failed to load header", LoadSignature)});
}

TEST_F(SolutionManifestTest, RefusesAFileThatIsNotThere)
{
    const std::string path = mFiles.Disk().Path("nothing");
    EXPECT_EQ(mManifest.Load(path), E_FAIL);
    mLog.ExpectAll({Progress("(\"" + path + "\")", LoadSignature), Error(Text(ENOENT), LoadSignature),
                    Error("Failed to open \"" + path + "\".", LoadSignature)});
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
