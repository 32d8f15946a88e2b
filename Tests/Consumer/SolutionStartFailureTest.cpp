#include "Consumer/StartFailureTest.h"

#include <cerrno>

#include <sys/stat.h>

namespace Keld::Test
{
namespace
{
TEST_F(StartFailureTest, RefusesASolutionWithoutASolutionManifest)
{
    const std::string directory = mTree.Path("solutions/suite/releases/0.0.1.7");
    ExpectFailedSolution(directory, NoSolutionManifest(directory, ENOENT));
}

TEST_F(StartFailureTest, RefusesASolutionWithoutAConfigurationManifest)
{
    const std::string directory = mTree.Solution("suite", "0.0.1.7", {});
    mTree.Disk().Remove("MORV/solutions/suite/releases/0.0.1.7/configurationmanifest");
    ExpectFailedSolution(directory, NoConfigurationManifest(directory, ENOENT));
}

TEST_F(StartFailureTest, RefusesAFifoForAManifestOfASolutionWithoutWaitingForItsWriter)
{
    const std::string directory = mTree.Solution("suite", "0.0.1.7", {});
    mTree.Disk().Remove("MORV/solutions/suite/releases/0.0.1.7/configurationmanifest");
    ASSERT_EQ(mkfifo((directory + "/configurationmanifest").c_str(), 0600), 0);
    ExpectFailedSolution(directory, NoConfigurationManifest(directory, EINVAL));
    LogRecorder::Clear();
    mTree.Disk().Remove("MORV/solutions/suite/releases/0.0.1.7/solutionmanifest");
    ASSERT_EQ(mkfifo((directory + "/solutionmanifest").c_str(), 0600), 0);
    ExpectFailedSolution(directory, NoSolutionManifest(directory, EINVAL));
}

TEST_F(StartFailureTest, RefusesAConfigurationThatNamesAnUnknownProject)
{
    mTree.Project("client", "1.0.0.0", {{"a.txt", "a"}});
    const std::string directory =
        mTree.Solution("suite", "0.0.1.7", {{"client", "1.0.0.0", 10}}, {"client", "stranger"});
    ExpectFailedSolution(
        directory, {Progress("(\"" + directory + "/solutionmanifest\")", SolutionSignature),
                    Progress("(\"" + directory + "/configurationmanifest\")", ConfigurationSignature),
                    Error("Failed to find project stranger",
                          "HRESULT Keld::MORV::Reader::GatherProjects(const std::vector<std::string> &, const "
                          "SolutionManifest &, std::vector<SolutionManifest::PROJECT> &)"),
                    Error("Failed to gather projects for user supplied project list",
                          "HRESULT Keld::MORV::Reader::GatherProjects(const ConfigurationManifest &, const "
                          "SolutionManifest &, std::vector<SolutionManifest::PROJECT> &)"),
                    Error("Failed to gather projects for " + directory + "/solutionmanifest", LoadSolutionSignature)});
}

TEST_F(StartFailureTest, RefusesASolutionWithAProjectThatIsNotOnDisk)
{
    mTree.Project("client", "1.0.0.0", {{"a.txt", "a"}});
    const std::string directory =
        mTree.Solution("suite", "0.0.1.7", {{"client", "1.0.0.0", 10}, {"data", "2.0.0.0", 5}});
    const std::string projects = mTree.Path("projects");
    const std::string missing = projects + "/data/releases/2.0.0.0";
    ExpectFailedSolution(
        directory, {Progress("(\"" + directory + "/solutionmanifest\")", SolutionSignature),
                    Progress("(\"" + directory + "/configurationmanifest\")", ConfigurationSignature),
                    Progress("(\"" + projects + "/client/releases/1.0.0.0/releasemanifest\")"),
                    Progress("(\"" + missing + "/releasemanifest\")"),
                    Error("Failed to open \"" + missing + "/releasemanifest\"."),
                    Error("Failure to load project manifest \"" + missing + "/releasemanifest\".", ListingSignature),
                    Error("MORV runtime environment load solution failed to create project listing: projectPath=\"" +
                              missing + "\".",
                          LoadSolutionSignature)});
    EXPECT_EQ(Initialize(directory), E_FAIL);
    EXPECT_EQ(MorvFileExists("a.txt"), 0u);
}

TEST_F(StartFailureTest, RefusesASolutionWithAProjectWhoseFilesAreAllMissing)
{
    const std::string project = mTree.Project("client", "1.0.0.0", {{"a.txt", "a", false, true}});
    const std::string directory = mTree.Solution("suite", "0.0.1.7", {{"client", "1.0.0.0", 10}});
    ExpectFailedSolution(
        directory,
        {Progress("(\"" + directory + "/solutionmanifest\")", SolutionSignature),
         Progress("(\"" + directory + "/configurationmanifest\")", ConfigurationSignature),
         Progress("(\"" + project + "/releasemanifest\")"), Error("Missing naked file: " + project + "/deploy/a.txt"),
         Error("MORV runtime environment load solution failed to create project listing: projectPath=\"" + project +
                   "\".",
               LoadSolutionSignature)});
}

TEST_F(StartFailureTest, RefusesASolutionWithAProjectPathThatDoesNotFit)
{
    const std::string name(1000, 'n');
    const std::string directory = mTree.Solution("suite", "0.0.1.7", {{name, "1.0.0.0", 10}});
    ExpectFailedSolution(directory,
                         {Progress("(\"" + directory + "/solutionmanifest\")", SolutionSignature),
                          Progress("(\"" + directory + "/configurationmanifest\")", ConfigurationSignature),
                          Error("MORV runtime environment load solution failed to build project path: morvRoot=\"" +
                                    mTree.Root() + "\", project=\"" + name + "\", project-version=\"1.0.0.0\".",
                                LoadSolutionSignature)});
}

TEST_F(StartFailureTest, RefusesASolutionManifestThatEndsInItsHeader)
{
    const std::string directory = mTree.Solution("suite", "0.0.1.7", {});
    const std::string manifest = directory + "/solutionmanifest";
    mTree.Disk().Write("MORV/solutions/suite/releases/0.0.1.7/solutionmanifest", "MORV Solution Manifest\n");
    ExpectFailedSolution(
        directory,
        {Progress("(\"" + manifest + "\")", SolutionSignature),
         Error("File version mismatch", "HRESULT Keld::MORV::Reader::SolutionManifest::LoadHeader(FILE *const)"),
         Error("Failed to load header", SolutionSignature),
         Error("Failure to load solution manifest \"" + manifest + "\".", LoadSolutionSignature)});
}

TEST_F(StartFailureTest, JudgesAMissingCountByTheErrorNumberThatTheConsumerLeaves)
{
    const std::string directory = mTree.Solution("suite", "0.0.1.7", {});
    const std::string solution = directory + "/solutionmanifest";
    const std::string section = "HRESULT Keld::MORV::Reader::SolutionManifest::LoadConfigurations(FILE *const)";
    mTree.Disk().Write("MORV/solutions/suite/releases/0.0.1.7/solutionmanifest",
                       ManifestLines({"MORV Solution Manifest", "1.0.0.0", "suite", "0.0.1.7", "0"}));
    errno = EXDEV;
    EXPECT_EQ(MorvInitialize(0, 0, 0, directory.c_str()), E_FAIL);
    EXPECT_EQ(errno, EXDEV);
    ExpectStart(directory, mTree.Root(),
                {Progress("(\"" + solution + "\")", SolutionSignature), Error(Text(EXDEV), section),
                 Error("fgets failed while reading project count", section),
                 Error("Failed to load configurations", SolutionSignature),
                 Error("Failure to load solution manifest \"" + solution + "\".", LoadSolutionSignature)},
                NotLoaded());

    errno = 0;
    EXPECT_EQ(MorvInitialize(0, 0, 0, directory.c_str()), S_OK);
    ExpectStart(directory, mTree.Root(),
                {Progress("(\"" + solution + "\")", SolutionSignature), Progress(Text(0), section),
                 Progress("(\"" + directory + "/configurationmanifest\")", ConfigurationSignature)});
}

TEST_F(StartFailureTest, RefusesACutConfigurationManifest)
{
    mTree.Project("client", "1.0.0.0", {{"a.txt", "a"}});
    mTree.Project("data", "1.0.0.0", {{"b.txt", "b"}});
    const std::string directory =
        mTree.Solution("suite", "0.0.1.7", {{"client", "1.0.0.0", 10}, {"data", "1.0.0.0", 20}});
    const std::string manifest = directory + "/configurationmanifest";
    const auto endsIn = [](const std::string &reader)
    {
        return Progress(Text(0), "HRESULT Keld::MORV::Reader::" + reader);
    };
    const auto notLoaded = [&manifest](Lines lines)
    {
        lines.push_back(Error("Failure to load configuration manifest \"" + manifest + "\".", LoadSolutionSignature));
        return lines;
    };
    const auto notGathered = [&directory](const std::string &name)
    {
        return Lines{Error("Failed to find project " + name),
                     Error("Failed to gather projects for user supplied project list"),
                     Error("Failed to gather projects for " + directory + "/solutionmanifest", LoadSolutionSignature)};
    };
    const Lines noCount =
        notLoaded({endsIn("ReadDWORD(FILE *const, DWORD &)"), Error("Could not convert string to number"),
                   Error("Failed to read project count", ConfigurationSignature)});
    const std::pair<std::string, Lines> cuts[] = {
        {"", notLoaded({Error("Magic string does not match", ConfigurationSignature)})},
        {"MORV Configuration Manifes", notLoaded({Error("Magic string does not match", ConfigurationSignature)})},
        {"MORV Configuration Manifest\n", notLoaded({endsIn("ReadVersion(FILE *const, uint32 &)"),
                                                     Error("File version mismatch", ConfigurationSignature)})},
        {"MORV Configuration Manifest\n1.0.0.", notLoaded({Error("File version mismatch", ConfigurationSignature)})},
        {"MORV Configuration Manifest\n1.0.0.0\n", noCount},
        {"MORV Configuration Manifest\n1.0.0.0\ndefault\n", noCount},
        {"MORV Configuration Manifest\n1.0.0.0\ndefault\n2\n", notGathered("")},
        {"MORV Configuration Manifest\n1.0.0.0\ndefault\n2\nclient\n", notGathered("")},
        {"MORV Configuration Manifest\n1.0.0.0\ndefault\n2\nclient\nda", notGathered("da")},
    };
    for (const auto &[text, lines] : cuts)
    {
        SCOPED_TRACE(text);
        mTree.Disk().Write("MORV/solutions/suite/releases/0.0.1.7/configurationmanifest", text);
        Lines middle = {Progress("(\"" + directory + "/solutionmanifest\")", SolutionSignature),
                        Progress("(\"" + manifest + "\")", ConfigurationSignature)};
        middle.insert(middle.end(), lines.begin(), lines.end());
        errno = 0; // the end of a file is judged by what the consumer left here
        ExpectFailedSolution(directory, middle);
    }
}

TEST_F(StartFailureTest, RefusesADamagedConfigurationManifest)
{
    const std::string directory = mTree.Solution("suite", "0.0.1.7", {});
    const std::string manifest = directory + "/configurationmanifest";
    mTree.Disk().Write("MORV/solutions/suite/releases/0.0.1.7/configurationmanifest", "MORV Solution Manifest\n");
    ExpectFailedSolution(
        directory, {Progress("(\"" + directory + "/solutionmanifest\")", SolutionSignature),
                    Progress("(\"" + manifest + "\")", ConfigurationSignature),
                    Error("Magic string does not match", ConfigurationSignature),
                    Error("Failure to load configuration manifest \"" + manifest + "\".", LoadSolutionSignature)});
}
} // namespace
} // namespace Keld::Test
