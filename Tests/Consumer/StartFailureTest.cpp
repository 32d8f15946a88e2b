#include "Consumer/StartFailureTest.h"

#include <cerrno>

namespace Keld::Test
{
namespace
{
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
} // namespace
} // namespace Keld::Test
