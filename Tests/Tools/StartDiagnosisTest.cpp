#include "Tools/CheckedTree.h"
#include "Tools/RandomTree.h"
#include "Tools/TreeSnapshot.h"

#include "Support/ArchiveImage.h"
#include "Support/ManifestImage.h"
#include "Support/ReaderLogCapture.h"

#include "Tools/TreeChecker/StartDiagnosis.h"

#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldMorvIO/environment/RuntimeEnvironment.h"

#include <filesystem>
#include <memory>
#include <stdexcept>

#include <sys/stat.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using MORV::Reader::RuntimeEnvironment;
using TreeChecker::StartDiagnosis;
using TreeChecker::StartOutcome;
using TreeReader::FaultKind;

const std::string FirstRelease = "MORV/projects/game/releases/1.0.0.0";
const std::string SuiteRelease = "MORV/solutions/suite/releases/0.0.1.0";

/// Holds every diagnosis against a start of the library in the same place.
class StartDiagnosisTest : public CheckedTree
{
protected:
    static StartOutcome OutcomeOfStart(const std::string &directory, std::string &firstLine)
    {
        const ReaderLogCapture quiet;
        std::unique_ptr<RuntimeEnvironment> environment;
        try
        {
            environment.reset(RuntimeEnvironment::Create(directory.c_str()));
        }
        catch (const std::length_error &)
        {
            return StartOutcome::Refused;
        }
        const auto failures = LogRecorder::Failures();
        firstLine = failures.empty() ? "" : failures.front().text;
        return environment == nullptr               ? StartOutcome::Refused
               : environment->GetListings().empty() ? StartOutcome::Empty
               : MissingFilesWereLogged(failures)   ? StartOutcome::Incomplete
                                                    : StartOutcome::Whole;
    }

    static bool MissingFilesWereLogged(const std::vector<LogLine> &lines)
    {
        return std::any_of(lines.begin(), lines.end(),
                           [](const LogLine &line)
                           {
                               return line.text.find(": Missing ") != std::string::npos ||
                                      line.text.find(" are missing an entry for: ") != std::string::npos;
                           });
    }

    /// The diagnosis changes nothing, and then the start does what the diagnosis said.
    StartDiagnosis Diagnose(const std::string &place) const
    {
        const TreeSnapshot before = TakeSnapshot(mTree.Root());
        StartDiagnosis diagnosis = TreeChecker::DiagnoseStart(mTree.Path(place), 2);
        EXPECT_EQ(TakeSnapshot(mTree.Root()), before);

        std::string firstLine;
        EXPECT_EQ(NameOf(OutcomeOfStart(mTree.Path(place), firstLine)), std::string(NameOf(diagnosis.outcome)));
        EXPECT_EQ(diagnosis.cause.has_value(), diagnosis.outcome != StartOutcome::Whole);
        if (diagnosis.cause && !diagnosis.cause->log.empty())
        {
            EXPECT_TRUE(firstLine.ends_with(": " + diagnosis.cause->log)) << firstLine << "\n" << diagnosis.cause->log;
        }
        ExpectDeleted(before, diagnosis);
        return diagnosis;
    }

    /// The tests run as a user who may write the tree.
    void ExpectDeleted(const TreeSnapshot &before, const StartDiagnosis &diagnosis) const
    {
        std::vector<std::string> deleted;
        for (const auto &[path, state] : before)
        {
            if (!fs::exists(fs::symlink_status(path)))
            {
                deleted.push_back(path);
            }
        }
        std::vector<std::string> doomed;
        for (const TreeChecker::DoomedIndex &index : diagnosis.archives.doomed)
        {
            if (index.isDeletable)
            {
                doomed.push_back(index.fault.path);
            }
        }
        std::sort(doomed.begin(), doomed.end());
        EXPECT_EQ(doomed, deleted);
    }

    void ExpectCause(const std::string &place, StartOutcome outcome, const std::string &text,
                     const std::string &remedy) const
    {
        SCOPED_TRACE(place);
        const StartDiagnosis diagnosis = Diagnose(place);
        EXPECT_EQ(NameOf(diagnosis.outcome), std::string(NameOf(outcome)));
        ASSERT_TRUE(diagnosis.cause);
        EXPECT_NE(diagnosis.cause->fault.text.find(text), std::string::npos) << diagnosis.cause->fault.text;
        EXPECT_NE(diagnosis.cause->remedy.find(remedy), std::string::npos) << diagnosis.cause->remedy;
    }

    void ExpectSolutionCause(const std::string &manifest, const std::string &from, const std::string &to,
                             const std::string &text, const std::string &remedy) const
    {
        const std::string path = SuiteRelease + "/" + manifest;
        const std::string good = mTree.Read(path);
        std::string bytes = good;
        ASSERT_NE(bytes.find(from), std::string::npos) << from;
        mTree.Write(path, bytes.replace(bytes.find(from), from.size(), to));
        errno = 0; // some reads of the library go by what stands there
        ExpectCause(SuiteRelease, StartOutcome::Refused, text, remedy);
        mTree.Write(path, good);
    }
};

TEST_F(StartDiagnosisTest, WholeReleasesAndSolutionsStart)
{
    for (const std::string &place : std::vector<std::string>{FirstRelease, FirstRelease + "/deploy", SuiteRelease,
                                                             "MORV/projects/extra/releases/1.0.0.0"})
    {
        mTree.MakeDirectory(place);
        const StartDiagnosis diagnosis = Diagnose(place);
        EXPECT_EQ(diagnosis.outcome, StartOutcome::Whole) << place;
        EXPECT_TRUE(diagnosis.IsHealthy());
        EXPECT_EQ(diagnosis.missing, 0U);
    }
    EXPECT_EQ(Diagnose(SuiteRelease).files, 8U + 2U);
}

TEST_F(StartDiagnosisTest, PathsWithoutARelease)
{
    mTree.MakeDirectory("elsewhere");
    ExpectCause("elsewhere", StartOutcome::Refused, "lies in no project and in no solution", "start the program in");
    ExpectCause("MORV", StartOutcome::Refused, "lies in no project and in no solution", "start the program in");
    ExpectCause("MORV/projects/game", StartOutcome::Refused, "but in no release of it", "start the program in");
    ExpectCause("MORV/projects/game/releases", StartOutcome::Refused, "but in no release of it",
                "start the program in");
    mTree.MakeDirectory("MORV/Projects/game/releases/1.0.0.0");
    ExpectCause("MORV/Projects/game/releases/1.0.0.0", StartOutcome::Refused, "lies in a directory \"Projects\"",
                "rename that directory to \"projects\"");
    mTree.MakeDirectory("MORV/projects/game/releases/1.0.0");
    ExpectCause("MORV/projects/game/releases/1.0.0", StartOutcome::Refused, "that is no version",
                "rename the directory below \"releases\"");
    mTree.MakeDirectory("MORV/projects/game/releases/1.0.0.256");
    ExpectCause("MORV/projects/game/releases/1.0.0.256", StartOutcome::Refused, "that is no version",
                "rename the directory below \"releases\"");
    std::string deep = FirstRelease + "/deploy";
    for (int level = 0; level < 20; ++level)
    {
        deep += "/" + std::string(60, 'd');
    }
    mTree.MakeDirectory(deep);
    ExpectCause(deep, StartOutcome::Refused, "1,024 bytes or more", "shorter path");
}

TEST_F(StartDiagnosisTest, AManifestThatTheLibraryThrowsOver)
{
    ManifestImage image("game");
    image.File("a.txt");
    image.Patch(image.StringCountOffset(), 0x40000000);
    mTree.Write(FirstRelease + "/releasemanifest", image.Bytes());
    ExpectCause(FirstRelease, StartOutcome::Refused, "more strings than can be", "copy the release again");
}

TEST_F(StartDiagnosisTest, PathsThatTheLibraryReadsOtherwise)
{
    fs::copy(mTree.Path("MORV"), mTree.Path("morv"), fs::copy_options::recursive);
    ExpectCause("morv/projects/game/releases/1.0.0.0", StartOutcome::Empty, "whose root is called \"morv\"",
                "rename the root");
    ExpectCause("morv/solutions/suite/releases/0.0.1.0", StartOutcome::Refused, "whose root is called \"morv\"",
                "rename the root");
    fs::rename(mTree.Path("morv"), mTree.Path("tree"));
    ExpectCause("tree/projects/game/releases/1.0.0.0", StartOutcome::Empty, "lies in no directory called \"MORV\"",
                "into a directory called \"MORV\"");
    mTree.MakeDirectory("myprojects");
    fs::rename(mTree.Path("tree"), mTree.Path("myprojects/MORV"));
    ExpectCause("myprojects/MORV/solutions/suite/releases/0.0.1.0", StartOutcome::Empty,
                "as a directory above the root ends in \"projects\"", "move the tree out of the directory");
    mTree.MakeDirectory("MORV/projects/game/sub/releases/1.0.0.7");
    ExpectCause("MORV/projects/game/sub/releases/1.0.0.7", StartOutcome::Empty, "which is another place",
                "so that the release lies in " + mTree.Path("MORV/projects/game/releases/1.0.0.7"));
    mTree.MakeDirectory("MORV/projects/game/releases/01.02.03.04");
    ExpectCause("MORV/projects/game/releases/01.02.03.04", StartOutcome::Empty, "is taken for release 1.2.3.4",
                "releases/1.2.3.4");
}

TEST_F(StartDiagnosisTest, ReleaseManifestsThatAreNone)
{
    const std::string manifest = FirstRelease + "/releasemanifest";
    const std::string good = mTree.Read(manifest);
    const auto expect = [&](const std::string &bytes, const std::string &text)
    {
        mTree.Write(manifest, bytes);
        ExpectCause(FirstRelease, StartOutcome::Empty, text, "copy the release again");
    };
    expect("QVMF", "fewer than 8 bytes");
    expect("FMVQ" + good.substr(4), "does not begin with \"QVMF\"");
    expect(good.substr(0, 4) + "\x09" + good.substr(5), "of an unknown form");
    expect(good.substr(0, good.size() / 2), "is a damaged release manifest");
    mTree.Write(manifest, ManifestImage("game").Bytes());
    ExpectCause(FirstRelease, StartOutcome::Empty, "lists no file", "at least one file");
}

TEST_F(StartDiagnosisTest, AReleaseManifestThatIsMissingOrNoFile)
{
    mTree.Remove(FirstRelease + "/releasemanifest");
    ExpectCause(FirstRelease, StartOutcome::Empty, "is missing", "pack or copy release 1.0.0.0 of the project");
    mTree.MakeDirectory(FirstRelease + "/releasemanifest");
    ExpectCause(FirstRelease, StartOutcome::Empty, "is no regular file", "copy the release again");
    mTree.Remove("MORV/projects/extra/releases/1.0.0.0/releasemanifest");
    ExpectCause(SuiteRelease, StartOutcome::Refused, "there is no release 1.0.0.0 of the project extra",
                "or choose another with \"morv solution\"");
}

TEST_F(StartDiagnosisTest, FilesThatAreMissing)
{
    mTree.Remove(FirstRelease + "/deploy/Data/naked.txt");
    ExpectCause(FirstRelease, StartOutcome::Incomplete, "is missing", "directory \"deploy\"");
    EXPECT_EQ(Diagnose(FirstRelease).missing, 1U);
    mTree.Remove("MORV/projects/game/managedfiles/1.0.0.0/Data/managed.bin");
    ExpectCause("MORV/projects/game/releases/1.0.0.1", StartOutcome::Incomplete, "is missing", "managedfiles/1.0.0.0");
    fs::remove_all(mTree.Path("MORV/projects/game/filearchives/1.0.0.0"));
    ExpectCause(FirstRelease, StartOutcome::Empty, "and so with all files of game 1.0.0.0", "copy the project's");
    ExpectCause(SuiteRelease, StartOutcome::Incomplete, "no archive of version 1.0.0.0 can be used",
                "filearchives/1.0.0.0");
    mTree.Remove("MORV/projects/extra/filearchives/1.0.0.0/files-0001.vka.dat");
    ExpectCause(SuiteRelease, StartOutcome::Refused, "and so with all files of extra 1.0.0.0", "filearchives/1.0.0.0");
}

TEST_F(StartDiagnosisTest, AProjectThatWasRenamedIsServedFromItsOldPlace)
{
    fs::rename(mTree.Path("MORV/projects/extra"), mTree.Path("MORV/projects/other"));
    ExpectCause("MORV/projects/other/releases/1.0.0.0", StartOutcome::Empty,
                "has the manifest of the project \"extra\"", "the name \"extra\"");
}

TEST_F(StartDiagnosisTest, IndexesThatAStartDeletesAreNamedBefore)
{
    const std::string data = mTree.Read(GameArchives + "files-0001.vka");
    mTree.Write(GameArchives + "bad.vka", "no index");
    mTree.Write(GameArchives + "empty.vka", "");
    mTree.MakeDirectory(GameArchives + "directory.vka");
    const StartDiagnosis diagnosis = Diagnose(FirstRelease);
    EXPECT_EQ(diagnosis.outcome, StartOutcome::Whole);
    EXPECT_EQ(diagnosis.archives.doomed.size(), 2U);
    EXPECT_FALSE(diagnosis.IsHealthy());

    Flip(GameArchives + "files-0001.vka", 0);
    Flip(GameArchives + "lzma-0001.vka", 4);
    ExpectCause(FirstRelease, StartOutcome::Incomplete, "can be used", "copy the project's");
}

TEST_F(StartDiagnosisTest, LinksAreDeletedByWhatTheyLeadTo)
{
    mTree.Write("elsewhere/bad", "no index");
    ASSERT_EQ(mkfifo(mTree.Path("elsewhere/pipe").c_str(), 0600), 0);
    ASSERT_EQ(mkfifo(mTree.Path(GameArchives + "pipe.vka").c_str(), 0600), 0);
    fs::create_symlink(mTree.Path("elsewhere/pipe"), mTree.Path(GameArchives + "to-a-pipe.vka"));
    fs::create_symlink("/dev/null", mTree.Path(GameArchives + "to-a-device.vka"));
    fs::create_symlink("nothing", mTree.Path(GameArchives + "to-nothing.vka"));
    fs::create_symlink(mTree.Path("elsewhere/bad"), mTree.Path(GameArchives + "to-a-file.vka"));
    const StartDiagnosis diagnosis = Diagnose(FirstRelease);
    EXPECT_EQ(diagnosis.archives.doomed.size(), 5U);
    EXPECT_FALSE(fs::exists(fs::symlink_status(mTree.Path(GameArchives + "to-a-file.vka"))));
    EXPECT_TRUE(mTree.Exists("elsewhere/bad"));
}

TEST_F(StartDiagnosisTest, ArchivesOfAFileThatNoDirectoryHoldsAreNotLookedAt)
{
    ManifestImage image("game");
    image.File("Data/naked.txt").File("lost.bin", {.flags = 0x02});
    image.Patch(image.DirectoryOffset("") + 16, 0); // no file in the root
    mTree.Write(FirstRelease + "/releasemanifest", image.Bytes());
    mTree.Write(GameArchives + "bad.vka", "no index");
    EXPECT_TRUE(Diagnose(FirstRelease).archives.doomed.empty());
}

TEST_F(StartDiagnosisTest, AStartThatFailsLaterHasDeletedBefore)
{
    Flip("MORV/projects/extra/filearchives/1.0.0.0/files-0001.vka", 0);
    mTree.Write(GameArchives + "bad.vka", "no index"); // of the project that is loaded after the one that fails
    const StartDiagnosis diagnosis = Diagnose(SuiteRelease);
    EXPECT_EQ(diagnosis.outcome, StartOutcome::Refused);
    EXPECT_EQ(diagnosis.archives.doomed.size(), 1U);
}

TEST_F(StartDiagnosisTest, WhoMayWriteTheIndexesIsWarned)
{
    const std::string warning = "this user may write " + mTree.Path("MORV/projects/game/filearchives/1.0.0.0");
    StartDiagnosis diagnosis = Diagnose(FirstRelease);
    ASSERT_EQ(diagnosis.warnings.size(), 1U);
    EXPECT_EQ(diagnosis.warnings[0].find(warning), 0U) << diagnosis.warnings[0];
    EXPECT_TRUE(diagnosis.IsHealthy());
}

TEST_F(StartDiagnosisTest, SolutionManifestsThatAreNone)
{
    const std::string again = "write the solution again";
    ExpectSolutionCause("solutionmanifest", "MORV Solution", "MORV  Solution", "does not begin with the line", again);
    ExpectSolutionCause("solutionmanifest", "\n1.0.0.0\n", "\n1.0.0.1\n", "its second line is not 1.0.0.0", again);
    ExpectSolutionCause("solutionmanifest", "0.0.1.0", "zero", "on its fourth line", again);
    ExpectSolutionCause("solutionmanifest", "1.0.0.1", "one", "states a version of a project", "four numbers");
    ExpectSolutionCause("solutionmanifest", "\n10\n", "\nten\n", "holds a text where a priority", again);
    ExpectSolutionCause("solutionmanifest", "\nextra\n", "\nGAME\n", "lists a project twice", "take one of the two");
    ExpectSolutionCause("solutionmanifest", "all\n0\n2\ngame\nextra", "all\n0\n2\ngame\ngame",
                        "twice in one configuration", "take one of the two");
    ExpectSolutionCause("solutionmanifest", "all\n0\n2\ngame\nextra", "all\n0\n2\ngame\nnew",
                        "with a project that it does not list", "add the project");
    ExpectSolutionCause("solutionmanifest", "1\nall\n0\n2\ngame\nextra\n", "2\nall\n0\n0\nALL\n0\n0\n",
                        "lists a configuration twice", "take one of the two");
    ExpectSolutionCause("configurationmanifest", "Configuration Manifest", "Solution Manifest",
                        "does not begin with the line", again);
    ExpectSolutionCause("configurationmanifest", "\n1.0.0.0\n", "\n2.0.0.0\n", "its second line is not 1.0.0.0", again);
    ExpectSolutionCause("configurationmanifest", "\n2\n", "\ntwo\n", "holds a text where a priority", again);
    ExpectSolutionCause("configurationmanifest", "extra", "more", "uses a project that the solution does not list",
                        "morv solution --use");
}

TEST_F(StartDiagnosisTest, ASolutionWhoseConfigurationHasTooLongAPath)
{
    const std::string below = "/MORV/solutions/suite/releases/0.0.1.0";
    std::string directory = "long";
    while (mTree.Path(directory + below).size() + std::string("/configurationmanifest").size() < PathBufferSize)
    {
        const std::size_t lacking = PathBufferSize - mTree.Path(directory + below).size();
        directory += "/" + std::string(std::min<std::size_t>(lacking - 22, 200), 'd');
    }
    ASSERT_LT(mTree.Path(directory + below + "/solutionmanifest").size(), PathBufferSize);
    fs::create_directories(mTree.Path(directory));
    fs::copy(mTree.Path("MORV"), mTree.Path(directory + "/MORV"), fs::copy_options::recursive);
    ExpectCause(directory + below, StartOutcome::Refused, "1,024 bytes or more", "move the tree to a place");
    TreeReader::Tree tree(mTree.Path(directory + "/MORV"));
    const auto view = TreeReader::View::Open(tree, {true, "suite", 0x00000100});
    ASSERT_FALSE(view);
    EXPECT_EQ(view.GetFault().kind, FaultKind::PathTooLong);
    const auto longName = TreeReader::View::Open(tree, {true, std::string(255, 's'), 0x00000100});
    ASSERT_FALSE(longName);
    EXPECT_EQ(longName.GetFault().kind, FaultKind::PathTooLong);
}

TEST_F(StartDiagnosisTest, AProjectWhoseNameIsAPathKeepsIndexesAndDataInTwoPlaces)
{
    const std::string project = mTree.Path("own");
    const std::string indexes = "MORV/projects" + project + "/filearchives/1.0.0.0/";
    const std::string odd = "MORV/projects/odd/releases/1.0.0.0";
    mTree.Write(odd + "/releasemanifest", ManifestImage(project).File("a", Archived("x")).Bytes());
    mTree.Write(indexes + "good.vka", ArchiveImage().File("a", 0, 1).Bytes());
    mTree.Write(indexes + "bad.vka", "no index");
    mTree.Write("own/filearchives/1.0.0.0/good.vka.dat", "x");
    mTree.Write("own/filearchives/1.0.0.0/other.vka", "no index either, but nobody looks at it");
    const TreeSnapshot before = TakeSnapshot(mTree.Root());
    const StartDiagnosis diagnosis = TreeChecker::DiagnoseStart(mTree.Path(odd), 1);
    EXPECT_EQ(diagnosis.outcome, StartOutcome::Whole);
    ASSERT_EQ(diagnosis.archives.doomed.size(), 1U);
    EXPECT_EQ(fs::path(diagnosis.archives.doomed[0].fault.path).lexically_normal(), mTree.Path(indexes + "bad.vka"));
    EXPECT_TRUE(TakeSnapshot(mTree.Root()) == before);

    std::string firstLine;
    EXPECT_EQ(OutcomeOfStart(mTree.Path(odd), firstLine), StartOutcome::Whole) << firstLine;
    EXPECT_FALSE(mTree.Exists(indexes + "bad.vka"));
    EXPECT_TRUE(mTree.Exists("own/filearchives/1.0.0.0/other.vka"));
}

TEST_F(StartDiagnosisTest, SolutionManifestsThatAreMissingOrEmpty)
{
    mTree.Write(Suite + "configurationmanifest", "MORV Configuration Manifest\n1.0.0.0\nnone\n0\n");
    ExpectCause(SuiteRelease, StartOutcome::Empty, "its configuration uses no project", "morv solution --use");
    mTree.Remove(Suite + "configurationmanifest");
    ExpectCause(SuiteRelease, StartOutcome::Refused, "is missing", "pack or copy release 0.0.1.0 of the solution");
    mTree.MakeDirectory(Suite + "configurationmanifest");
    ExpectCause(SuiteRelease, StartOutcome::Refused, "is no file", "write the solution again");
    mTree.Remove(Suite + "solutionmanifest");
    ExpectCause(SuiteRelease, StartOutcome::Refused, "is missing", "pack or copy release 0.0.1.0 of the solution");
}

/// Damage of all kinds at once, where every diagnosis must still be what then happens.
class RandomStartTest : public StartDiagnosisTest, public testing::WithParamInterface<uint32>
{
};

TEST_P(RandomStartTest, TheDiagnosisIsWhatThenHappens)
{
    RandomTree random(GetParam());
    std::vector<std::string> files;
    for (const auto &entry : fs::recursive_directory_iterator(mTree.Path("MORV")))
    {
        if (entry.is_regular_file())
        {
            files.push_back(fs::relative(entry.path(), mTree.Root()).string());
        }
    }
    std::sort(files.begin(), files.end());
    for (uint32 count = 1 + random.Below(4); count > 0; --count)
    {
        const std::string &path = files[random.Below(static_cast<uint32>(files.size()))];
        const std::string bytes = mTree.Exists(path) ? mTree.Read(path) : "";
        if (bytes.empty() || random.Below(3) == 0)
        {
            mTree.Remove(path);
        }
        else if (random.Below(2) == 0)
        {
            mTree.Write(path, bytes.substr(0, random.Below(static_cast<uint32>(bytes.size()))));
        }
        else
        {
            Flip(path, random.Below(static_cast<uint32>(bytes.size())),
                 static_cast<unsigned char>(1 + random.Below(255)));
        }
    }
    for (const std::string &place : {FirstRelease, std::string("MORV/projects/game/releases/1.0.0.1"),
                                     std::string("MORV/projects/extra/releases/1.0.0.0"), SuiteRelease})
    {
        SCOPED_TRACE(place);
        mTree.MakeDirectory(place);
        errno = 0;
        Diagnose(place);
    }
}

INSTANTIATE_TEST_SUITE_P(Seeds, RandomStartTest, testing::Range(1U, 41U));
} // namespace
} // namespace Keld::Test
