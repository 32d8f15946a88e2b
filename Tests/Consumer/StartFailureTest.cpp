#include "Support/ReleaseFixture.h"

#include <cerrno>
#include <cstring>

#include <sys/stat.h>

namespace Keld::Test
{
namespace
{
const std::string CreateSignature =
    "static Keld::MORV::Reader::RuntimeEnvironment *Keld::MORV::Reader::RuntimeEnvironment::Create(const char *)";
const std::string KindSignature =
    "static bool Keld::MORV::Reader::RuntimeEnvironment::GetProjectTypeNameAndVersion(const char *, "
    "RuntimeEnvironment::RuntimeType &, std::string &, MorvVersion &)";
const std::string DetectSignature =
    "bool Keld::MORV::Reader::DetectNameAndRelease(const char *, const char *, std::string &, MorvVersion &)";
const std::string CollectSignature =
    "static bool Keld::MORV::Reader::RuntimeEnvironment::CollectProjects(RuntimeEnvironment::RuntimeType, "
    "const char *, const char *, const char *, std::string &, std::vector<class ProjectListing *> &)";
const std::string LoadSolutionSignature =
    "bool Keld::MORV::Reader::LoadSolution(const char *, const char *, std::vector<class ProjectListing *> &)";
const std::string ListingSignature =
    "Keld::MORV::Reader::ProjectListing *Keld::MORV::Reader::CreateListing(const char *, const char *)";
const std::string SolutionSignature = "HRESULT Keld::MORV::Reader::SolutionManifest::Load(const std::string &)";
const std::string ConfigurationSignature =
    "HRESULT Keld::MORV::Reader::ConfigurationManifest::Load(const std::string &)";

// A start that fails logs a chain of lines, from the cause to the consequence, and its ends are always the same.
class StartFailureTest : public ReleaseFixture
{
protected:
    using Lines = std::vector<ExpectedLine>;

    static void ExpectStart(const std::string &directory, const std::string &root, const Lines &middle,
                            const Lines &end = {})
    {
        Lines lines = {
            Progress("MORV library initializing with specified working directory \"" + directory + "\".",
                     InitializeSignature),
            Trace("", CreateSignature),
            Progress("Creating MORV runtime environment: MORV root directory = \"" + root + "\"", CreateSignature)};
        lines.insert(lines.end(), middle.begin(), middle.end());
        lines.insert(lines.end(), end.begin(), end.end());
        ExpectAll(lines);
    }

    static Lines Unknown()
    {
        return {Error("MORV runtime environment creation failed because it was unable to get the project information.",
                      CreateSignature),
                Error("MORV library initialization failed to create the runtime environment.", InitializeSignature)};
    }

    static Lines NotCollected()
    {
        return {Error("MORV runtime environment creation failed because it was unable to collect the projects.",
                      CreateSignature),
                Error("MORV library initialization failed to create the runtime environment.", InitializeSignature)};
    }

    static Lines NotLoaded()
    {
        Lines lines = NotCollected();
        lines.insert(
            lines.begin(),
            Error("MORV solution runtime environment project collection failed to load solution.", CollectSignature));
        return lines;
    }

    static void ExpectUnknown(const std::string &directory, const std::string &root, const Lines &middle)
    {
        SCOPED_TRACE(directory);
        EXPECT_EQ(Initialize(directory), E_FAIL);
        ExpectStart(directory, root, middle, Unknown());
        EXPECT_EQ(Initialize(directory), E_FAIL);
        LogRecorder::Clear();
    }

    static Lines Undetermined(const std::string &directory)
    {
        return {Error("Failed to determine name and version from the path " + directory, KindSignature)};
    }

    static Lines InvalidRelease(const std::string &directory, const std::string &version)
    {
        return {Error("Invalid release format \"" + version + "\".", DetectSignature),
                Error("Failed to determine name and version from the path " + directory, KindSignature)};
    }

    void ExpectFailedSolution(const std::string &directory, const Lines &middle)
    {
        EXPECT_EQ(Initialize(directory), E_FAIL);
        ExpectStart(directory, mTree.Root(), middle, NotLoaded());
    }

    // The lines of a manifest that cannot be opened.
    static Lines NoSolutionManifest(const std::string &directory, int error)
    {
        const std::string manifest = directory + "/solutionmanifest";
        return {Progress("(\"" + manifest + "\")", SolutionSignature), Error(Text(error), SolutionSignature),
                Error("Failed to open \"" + manifest + "\".", SolutionSignature),
                Error("Failure to load solution manifest \"" + manifest + "\".", LoadSolutionSignature)};
    }

    static Lines NoConfigurationManifest(const std::string &directory, int error)
    {
        const std::string configuration = directory + "/configurationmanifest";
        return {Progress("(\"" + directory + "/solutionmanifest\")", SolutionSignature),
                Progress("(\"" + configuration + "\")", ConfigurationSignature),
                Error(Text(error)),
                Error("(\"" + configuration + "\", \"rt\") failed: " + Text(error)),
                Error(Text(error), ConfigurationSignature),
                Error(Text(error), ConfigurationSignature),
                Error("Failed to open configuration file \"" + configuration + "\".", ConfigurationSignature),
                Error("Failure to load configuration manifest \"" + configuration + "\".", LoadSolutionSignature)};
    }

    static std::string Text(int error) { return std::strerror(error); }

    // A directory of exactly `length` characters below a root named "MORV" that is not there.
    static std::string LongDirectory(const std::string &belowRoot, std::size_t length)
    {
        const std::string end = "/MORV/" + belowRoot;
        return "/" + std::string(length - 1 - end.size(), 'd') + end;
    }

    static std::string RootOf(const std::string &directory)
    {
        return directory.substr(0, directory.rfind("MORV/") + 4);
    }
};

TEST_F(StartFailureTest, WarnsOfAPathWithoutKeywords)
{
    for (const std::string directory : {"/a/MORV/Projects/x/releases/1.2.3.4", "/a/MORV/x/releases/1.2.3.4"})
    {
        ExpectUnknown(
            directory, "/a/MORV",
            {Warning("Did not find keywords \"projects\" or \"solutions\" in path " + directory, KindSignature)});
    }
}

TEST_F(StartFailureTest, RefusesAPathThatEndsAtItsKeyword)
{
    for (const std::string directory : {"/a/MORV/projects/", "/a/MORV/solutions/"})
    {
        ExpectUnknown(directory, "/a/MORV", {Error("Incomplete path: " + directory, KindSignature)});
    }
}

TEST_F(StartFailureTest, RefusesAPathWithoutNameOrVersion)
{
    for (const std::string directory :
         {"/a/MORV/projects/x", "/a/MORV/projects/x/", "/a/MORV/projects/x/1.2.3.4/deploy", "/a/MORV/solutions/x/y/z",
          "/a/MORV/projects/x/releases", "/a/MORV/projects/x/releases/", "/a/MORV/solutions/x/releases/"})
    {
        ExpectUnknown(directory, "/a/MORV", Undetermined(directory));
    }
}

TEST_F(StartFailureTest, RefusesAVersionThatIsNone)
{
    for (const std::string version : {"1.2.3", "1.2.3.256", "-1.2.3.4", "latest", "1.2.3. 4"})
    {
        for (const std::string kind : {"projects", "solutions"})
        {
            const std::string directory = "/a/MORV/" + kind + "/x/releases/" + version;
            ExpectUnknown(directory, "/a/MORV", InvalidRelease(directory, version));
            ExpectUnknown(directory + "/deploy", "/a/MORV", InvalidRelease(directory + "/deploy", version));
        }
    }
}

TEST_F(StartFailureTest, StartsAProjectWithoutAManifestEmpty)
{
    const std::string directory = mTree.Path("projects/atlas/releases/1.2.3.4/deploy");
    const std::string manifest = mTree.Path("projects/atlas/releases/1.2.3.4/releasemanifest");
    EXPECT_EQ(Initialize(directory), S_OK);
    ExpectStart(directory, mTree.Root(),
                {Progress("(\"" + manifest + "\")"), Error("Failed to open \"" + manifest + "\"."),
                 Error("Failure to load project manifest \"" + manifest + "\".", ListingSignature)});
    EXPECT_EQ(MorvFileExists("/"), 0u);
    EXPECT_EQ(MorvOpenFile("a.txt"), nullptr);
    EXPECT_EQ(List("*"), Names({"<null>"}));
    EXPECT_EQ(Initialize(directory), E_FAIL);
}

TEST_F(StartFailureTest, AddsNoLineForAListingThatCannotBeMade)
{
    const std::string directory = mTree.Project("atlas", "1.0.0.0", {{"a.txt", "a", false, true}});
    EXPECT_EQ(Initialize(directory), S_OK);
    ExpectStart(directory, mTree.Root(),
                {Progress("(\"" + directory + "/releasemanifest\")"),
                 Error("Missing naked file: " + directory + "/deploy/a.txt")});
    EXPECT_EQ(MorvFileExists("/"), 0u);
}

TEST_F(StartFailureTest, LooksForTheManifestInTheWrongPlaceWithoutARootOfTheRightCase)
{
    const std::string directory = "/a/morv/projects/x/releases/1.2.3.4";
    const std::string manifest = directory + "/projects/x/releases/1.2.3.4/releasemanifest";
    EXPECT_EQ(Initialize(directory), S_OK);
    ExpectStart(directory, directory,
                {Progress("(\"" + manifest + "\")"), Error("Failed to open \"" + manifest + "\"."),
                 Error("Failure to load project manifest \"" + manifest + "\".", ListingSignature)});
}

TEST_F(StartFailureTest, RefusesAReleaseWhoseRootPathDoesNotFit)
{
    // Without a root in it the whole path is the root, and the release is looked for below that once more.
    for (const std::string kind : {"project", "solution"})
    {
        const std::string end = "/" + kind + "s/x/releases/1.2.3.4";
        const std::string directory = "/" + std::string(1000 - 1 - end.size(), 'd') + end;
        EXPECT_EQ(Initialize(directory), E_FAIL);
        ExpectStart(directory, directory,
                    {Error("MORV " + kind +
                               " runtime environment project collection failed to build the root folder path: "
                               "morvRoot=\"" +
                               directory + "\", name=\"x\", version=\"1.2.3.4\".",
                           CollectSignature)},
                    NotCollected());
    }
}

TEST_F(StartFailureTest, MeasuresTheRootPathOfAReleaseToTheByte)
{
    for (const std::string kind : {"project", "solution"})
    {
        SCOPED_TRACE(kind);
        const std::string end = "/" + kind + "s/x/releases/1.2.3.4";
        std::string directory(1024 - end.size(), 'd'); // the root, to which the release is joined once more
        directory.replace(0, 1, "/").replace(directory.size() - end.size(), end.size(), end);
        EXPECT_EQ(Initialize(directory), E_FAIL);
        ExpectStart(directory, directory,
                    {Error("MORV " + kind +
                               " runtime environment project collection failed to build the root folder path: "
                               "morvRoot=\"" +
                               directory + "\", name=\"x\", version=\"1.2.3.4\".",
                           CollectSignature)},
                    NotCollected());

        // One byte less leaves room for the release, but not for a manifest in it.
        directory.erase(1, 1);
        EXPECT_EQ(Initialize(directory), kind == "project" ? S_OK : E_FAIL);
        const std::vector<LogLine> failures = LogRecorder::Failures();
        ASSERT_FALSE(failures.empty());
        EXPECT_NE(failures[0].text.find("=\"" + directory + end + "\"."), std::string::npos) << failures[0].text;
        LogRecorder::Clear();
        MorvShutdown();
    }
}

TEST_F(StartFailureTest, StartsEmptyWhenTheManifestPathOfAProjectDoesNotFit)
{
    for (const std::size_t length : {std::size_t{1008}, std::size_t{1023}})
    {
        const std::string directory = LongDirectory("projects/x/releases/1.2.3.4", length);
        EXPECT_EQ(Initialize(directory), S_OK);
        ExpectStart(directory, RootOf(directory),
                    {Error("MORV runtime environment listing creation failed to join the path: projectPath=\"" +
                               directory + "\".",
                           ListingSignature)});
        MorvShutdown();
    }
    const std::string directory = LongDirectory("projects/x/releases/1.2.3.4", 1007);
    const std::string manifest = directory + "/releasemanifest";
    EXPECT_EQ(Initialize(directory), S_OK);
    ExpectStart(directory, RootOf(directory),
                {Progress("(\"" + manifest + "\")"), Error("Failed to open \"" + manifest + "\"."),
                 Error("Failure to load project manifest \"" + manifest + "\".", ListingSignature)});
}

TEST_F(StartFailureTest, RefusesASolutionWhoseManifestPathsDoNotFit)
{
    for (std::size_t length = 1002; length <= 1009; ++length)
    {
        SCOPED_TRACE(length);
        const std::string which = length <= 1006 ? "configuration" : "solution";
        const std::string directory = LongDirectory("solutions/x/releases/1.2.3.4", length);
        EXPECT_EQ(Initialize(directory), E_FAIL);
        ExpectStart(directory, RootOf(directory),
                    {Error("MORV runtime environment load solution failed to build " + which +
                               " manifest path: localRoot=\"" + directory + "\".",
                           LoadSolutionSignature)},
                    NotLoaded());
    }
    const std::string directory = LongDirectory("solutions/x/releases/1.2.3.4", 1001);
    const std::string manifest = directory + "/solutionmanifest";
    EXPECT_EQ(Initialize(directory), E_FAIL);
    ExpectStart(directory, RootOf(directory),
                {Progress("(\"" + manifest + "\")", SolutionSignature), Error(Text(ENAMETOOLONG), SolutionSignature),
                 Error("Failed to open \"" + manifest + "\".", SolutionSignature),
                 Error("Failure to load solution manifest \"" + manifest + "\".", LoadSolutionSignature)},
                NotLoaded());
}

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
