#include "KeldMorvIO/environment/SolutionManifestFixture.h"
#include "KeldMorvIO/environment/StreamFaults.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;

class SolutionManifestRefusalTest : public SolutionManifestFixture
{
};

TEST_F(SolutionManifestRefusalTest, RefusesAnotherMagicLine)
{
    for (const std::string magic : {"MORV Solution Manifest ", " MORV Solution Manifest", "MORV Solution", ""})
    {
        Texts lines = Sample();
        lines[0] = magic;
        ExpectRefusal(lines, "header", {Error("Magic string does not match", HeaderSignature)});
    }
    ExpectRefusal({}, "header", {Error("Magic string does not match", HeaderSignature)});
}

TEST_F(SolutionManifestRefusalTest, RefusesAnotherFileVersion)
{
    for (const std::string version : {"1.0.0.1", "2.0.0.0", "0.0.0.0", "latest", "", "1.0.0.0 "})
    {
        Texts lines = Sample();
        lines[1] = version;
        ExpectRefusal(lines, "header", {Error("File version mismatch", HeaderSignature)});
    }
}

TEST_F(SolutionManifestRefusalTest, RefusesASolutionVersionThatIsNone)
{
    Texts lines = Sample();
    lines[3] = "0.0.1";
    ExpectRefusal(lines, "header", {Error("Invalid format for solution version string \"0.0.1\".", HeaderSignature)});
    EXPECT_EQ(mManifest.GetName(), "suite"); // what was read so far stays
    ExpectRefusal({"MORV Solution Manifest", "1.0.0.0"}, "header",
                  {Error("Invalid format for solution version string \"\".", HeaderSignature)});
}

TEST_F(SolutionManifestRefusalTest, RefusesAProjectWithABadField)
{
    ExpectRefusal(With({"1", "client", "1.0", "1", "0", "0"}), "projects",
                  {Error("Failed to convert version string \"1.0\n\"."),
                   Error("Failed to read project version", ProjectsSignature)});
    ExpectRefusal(With({"1", "client", "1.0.0.0", "high", "0", "0"}), "projects",
                  {Error("Could not convert string to number"), Error("Failed to read priority", ProjectsSignature)});
    ExpectRefusal(With({"1", "client", "1.0.0.0", "1", "none", "0"}), "projects",
                  {Error("Could not convert string to number"), Error("Failed to read flags", ProjectsSignature)});
}

TEST_F(SolutionManifestRefusalTest, RefusesTwoProjectsOfOneName)
{
    ExpectRefusal(With({"2", "client", "1.0.0.0", "1", "0", "CLIENT", "2.0.0.0", "2", "0", "0"}), "projects",
                  {Error("Failed to add project", ProjectsSignature)});
    EXPECT_EQ(ProjectNames(), Texts({"client"}));
}

TEST_F(SolutionManifestRefusalTest, RefusesAConfigurationWithABadField)
{
    ExpectRefusal(
        With({"0", "1", "default", "x", "0"}), "configurations",
        {Error("Could not convert string to number"), Error("Failed to read flags", ConfigurationsSignature)});
    ExpectRefusal(
        With({"0", "1", "default", "0", "x"}), "configurations",
        {Error("Could not convert string to number"), Error("Failed to read project count", ConfigurationsSignature)});
}

TEST_F(SolutionManifestRefusalTest, RefusesAConfigurationOfAnUnknownProject)
{
    ExpectRefusal(
        With({"1", "client", "1.0.0.0", "1", "0", "1", "default", "0", "2", "client", "data"}), "configurations",
        {Error("Configuration references unknown project.  Add projects before configurations.", AddSignature),
         Error("Failed to add configuration", ConfigurationsSignature)});
}

TEST_F(SolutionManifestRefusalTest, RefusesTwoConfigurationsOfOneName)
{
    ExpectRefusal(With({"0", "2", "default", "0", "0", "Default", "0", "0"}), "configurations",
                  {Error("Failed to add configuration", ConfigurationsSignature)});
    EXPECT_EQ(mManifest.GetConfigurations().size(), 1u);
}

TEST_F(SolutionManifestRefusalTest, LooksForUnknownProjectsBeforeItLooksForDuplicates)
{
    ExpectRefusal(
        With({"0", "2", "default", "0", "0", "default", "0", "1", "client"}), "configurations",
        {Error("Configuration references unknown project.  Add projects before configurations.", AddSignature),
         Error("Failed to add configuration", ConfigurationsSignature)});
}

TEST_F(SolutionManifestRefusalTest, EndsAConfigurationAtTheFirstProjectThatItNamesTwice)
{
    ExpectRefusal(With({"1", "client", "1.0.0.0", "1", "0", "1", "default", "0", "3", "client", "Client", "client"}),
                  "configurations", {Error("Duplicate project in configuration", ConfigurationsSignature)});
    EXPECT_TRUE(mManifest.GetConfigurations().empty());
}

TEST_F(SolutionManifestRefusalTest, EndsAHugeCountAtTheEndOfTheFile)
{
    // The names behind the end are empty, and the second empty name is a duplicate.
    ExpectRefusal(With({"0", "1", "default", "0", "0xFFFFFFFF"}), "configurations",
                  {Error("Duplicate project in configuration", ConfigurationsSignature)});
    // So many projects end at the first that is not there; the number's overflow is the error that is left over.
    ExpectRefusal(
        With({"99999999999999999999"}), "projects",
        {Error(Text(ERANGE)), Error("fgets failed"), Error("Failed to read project version", ProjectsSignature)});
}

TEST_F(SolutionManifestRefusalTest, SaturatesACountInsteadOfCuttingIt)
{
    // 4294967297 cut to 32 bits would be one project, and the file would load.
    ExpectRefusal(
        With({"4294967297", "client", "1.0.0.0", "1", "0"}), "projects",
        {Error(Text(ERANGE)), Error("fgets failed"), Error("Failed to read project version", ProjectsSignature)});

    // -4294967295 would be one, too; below 1 the next line is the number of configurations.
    errno = 0;
    EXPECT_EQ(Load(With({"-4294967295", "0", "1.0.0.0", "1", "0"})), S_OK);
    EXPECT_EQ(ProjectNames(), Texts());
    EXPECT_EQ(errno, ERANGE);
}

TEST_F(SolutionManifestRefusalTest, NamesWhatCannotBeReadFromAStream)
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

TEST_F(SolutionManifestRefusalTest, NamesTheFieldThatCannotBeRead)
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

TEST_F(SolutionManifestRefusalTest, RefusesADirectoryOfItsName)
{
    const std::string path = mFiles.Disk().MakeDirectory("solutionmanifest");
    EXPECT_EQ(mManifest.Load(path), E_FAIL);
    mLog.ExpectAll({Progress("(\"" + path + "\")", LoadSignature), Error(Text(1)), Error("fgets failed"),
                    Error("Failure while getting magic string", HeaderSignature),
                    Error("Failed to load header", LoadSignature)});
}

TEST_F(SolutionManifestRefusalTest, RefusesAFileThatIsNotThere)
{
    const std::string path = mFiles.Disk().Path("nothing");
    EXPECT_EQ(mManifest.Load(path), E_FAIL);
    mLog.ExpectAll({Progress("(\"" + path + "\")", LoadSignature), Error(Text(ENOENT), LoadSignature),
                    Error("Failed to open \"" + path + "\".", LoadSignature)});
}
} // namespace
} // namespace Keld::Test
