#include "Support/ReleaseFixture.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
class LifetimeTest : public ReleaseFixture
{
protected:
    std::string MakeRelease() const { return mTree.Project("atlas", "1.0.0.7", {{"a.txt", "content"}}); }
    std::string Manifest() const { return mTree.Path("projects/atlas/releases/1.0.0.7/releasemanifest"); }

    // What a start from a directory logs that has no release in its path.
    static std::vector<ExpectedLine> RefusedStart(const std::string &how, const std::string &directory)
    {
        return {Progress("MORV library initializing with " + how + " working directory \"" + directory + "\".",
                         InitializeSignature),
                Trace(""),
                Progress("Creating MORV runtime environment: MORV root directory = \"" + directory + "\""),
                Warning("Did not find keywords \"projects\" or \"solutions\" in path " + directory),
                Error("MORV runtime environment creation failed because it was unable to get the project information."),
                Error("MORV library initialization failed to create the runtime environment.", InitializeSignature)};
    }
};

TEST_F(LifetimeTest, LogsAStartFromASpecifiedDirectory)
{
    const std::string directory = MakeRelease();
    EXPECT_EQ(Initialize(directory), S_OK);
    ExpectAll({Progress("MORV library initializing with specified working directory \"" + directory + "\".",
                        "HRESULT Keld::MORV::Reader::MorvExportsMain::Initialize(const char *)"),
               Trace("", "static Keld::MORV::Reader::RuntimeEnvironment "
                         "*Keld::MORV::Reader::RuntimeEnvironment::Create(const char *)"),
               Progress("Creating MORV runtime environment: MORV root directory = \"" + mTree.Root() + "\"",
                        "static Keld::MORV::Reader::RuntimeEnvironment "
                        "*Keld::MORV::Reader::RuntimeEnvironment::Create(const char *)"),
               Progress("(\"" + Manifest() + "\")")});
}

TEST_F(LifetimeTest, StartsFromTheWorkingDirectoryWhenNoneIsGiven)
{
    const WorkingDirectory inside(MakeRelease());
    EXPECT_EQ(MorvInitialize(0, 0, 0, nullptr), S_OK);
    EXPECT_EQ(LogRecorder::Lines().at(0).text, std::string(InitializeSignature) +
                                                   ": MORV library initializing with current working directory \"" +
                                                   mTree.Path("projects/atlas/releases/1.0.0.7") + "\".");
    EXPECT_EQ(Content("a.txt"), "content");
}

TEST_F(LifetimeTest, IgnoresTheFirstThreeArguments)
{
    const std::string directory = MakeRelease();
    EXPECT_EQ(MorvInitialize(1, 0xFFFFFFFF, 0x80000000, directory.c_str()), S_OK);
    EXPECT_EQ(Content("a.txt"), "content");
}

TEST_F(LifetimeTest, RefusesASecondStartAndKeepsWhatRuns)
{
    const std::string first = MakeRelease();
    const std::string second = mTree.Project("bravo", "1.0.0.0", {{"b.txt", "other"}});
    Start(first);
    LogRecorder::Clear();
    EXPECT_EQ(Initialize(second), E_FAIL);
    EXPECT_EQ(MorvInitialize(0, 0, 0, nullptr), E_FAIL);
    const ExpectedLine refusal = Error("MORV library initialization failed because it was already initialized and must "
                                       "only be initialized once.",
                                       InitializeSignature);
    ExpectAll({refusal, refusal});
    EXPECT_EQ(MorvFileExists("a.txt"), 1u);
    EXPECT_EQ(MorvFileExists("b.txt"), 0u);
}

TEST_F(LifetimeTest, RefusesAnExplicitStartBehindAnImplicitOne)
{
    const WorkingDirectory inside(MakeRelease());
    EXPECT_EQ(MorvFileExists("a.txt"), 1u);
    EXPECT_EQ(MorvInitialize(0, 0, 0, nullptr), E_FAIL);
    EXPECT_EQ(MorvFileExists("a.txt"), 1u);
}

TEST_F(LifetimeTest, StartsAgainAfterAStop)
{
    const std::string directory = MakeRelease();
    for (int round = 0; round < 3; ++round)
    {
        EXPECT_EQ(Initialize(directory), S_OK);
        EXPECT_EQ(Content("a.txt"), "content");
        MorvShutdown();
    }
    const WorkingDirectory inside(directory);
    EXPECT_EQ(Content("a.txt"), "content");
}

TEST_F(LifetimeTest, StopsWithoutAStartAndTwice)
{
    MorvShutdown();
    Start(MakeRelease());
    LogRecorder::Clear();
    MorvShutdown();
    MorvShutdown();
    ExpectAll({});
}

TEST_F(LifetimeTest, ReportsFilesThatAreOpenAtTheStop)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"a.txt", "a"}, {"b.txt", "b", true}, {"c.txt", "c"}}));
    OpenAndAbandon("a.txt");
    OpenAndAbandon("b.txt");
    LogRecorder::Clear();
    MorvShutdown();
    ExpectAll({Error("The file was not closed before shutdown."), Error("The file was not closed before shutdown.")});
}

TEST_F(LifetimeTest, TakesAnEmptyTextAsADirectoryAndNotAsNone)
{
    const WorkingDirectory inside(MakeRelease());
    EXPECT_EQ(MorvInitialize(0, 0, 0, ""), E_FAIL);
    ExpectAll(RefusedStart("specified", ""));
}

TEST_F(LifetimeTest, TriesAgainAfterAFailedImplicitStartWithTheDirectoryOfTheMoment)
{
    const std::string release = MakeRelease();
    const std::string outside = mTree.Disk().MakeDirectory("outside");
    const std::string elsewhere = mTree.Disk().MakeDirectory("elsewhere");
    {
        const WorkingDirectory current(outside);
        EXPECT_EQ(MorvFileExists("a.txt"), 0u);
        ExpectAll(RefusedStart("current", outside));
        EXPECT_EQ(MorvOpenFile("a.txt"), nullptr);
        ExpectAll(RefusedStart("current", outside));
    }
    {
        const WorkingDirectory current(elsewhere);
        EXPECT_EQ(MorvFindFirstFile("*"), nullptr);
        ExpectAll(RefusedStart("current", elsewhere));
    }
    const WorkingDirectory current(release);
    EXPECT_EQ(MorvFileExists("a.txt"), 1u);
}

TEST_F(LifetimeTest, KeepsItsReleaseWhenTheWorkingDirectoryChanges)
{
    const std::string first = MakeRelease();
    const std::string second = mTree.Project("bravo", "1.0.0.0", {{"b.txt", "other"}});
    const WorkingDirectory outer(first);
    EXPECT_EQ(MorvFileExists("a.txt"), 1u);
    const WorkingDirectory inner(second);
    EXPECT_EQ(MorvFileExists("a.txt"), 1u);
    EXPECT_EQ(Content("a.txt"), "content");
    EXPECT_EQ(MorvFileExists("b.txt"), 0u);
}

TEST_F(LifetimeTest, RefusesAWorkingDirectoryThatHasGone)
{
    const WorkingDirectory current(mTree.Disk().MakeDirectory("gone"));
    mTree.Disk().Remove("gone");
    EXPECT_EQ(MorvInitialize(0, 0, 0, nullptr), E_FAIL);
    ExpectAll(RefusedStart("current", ""));
}

TEST_F(LifetimeTest, RefusesAWorkingDirectoryThatDoesNotFit)
{
    const WorkingDirectory current(mTree.Disk().MakeDirectory("deep"));
    const std::string step(200, 'd');
    for (int depth = 0; depth < 6; ++depth)
    {
        ASSERT_EQ(mkdir(step.c_str(), 0755), 0);
        ASSERT_EQ(chdir(step.c_str()), 0);
    }
    EXPECT_EQ(MorvFileExists("a.txt"), 0u);
    ExpectAll(RefusedStart("current", ""));
}

TEST_F(LifetimeTest, RefusesAWorkingDirectoryThatIsTooDeepForTheSystem)
{
    // Beyond 4,096 bytes the system's call no longer answers, and the C library looks for each directory's name from
    // the innermost outwards. Here the last names add up to exactly the buffer, and tell of a release, before it fails.
    const std::string release = "/MORV/projects/atlas/releases/1.0.0.7";
    std::vector<std::string> steps(20, std::string(200, 'd'));
    steps.insert(steps.end(), 3, std::string(255, 'e'));
    steps.push_back(std::string(1023 - 3 * 256 - release.size() - 1, 'f'));
    for (const char *const name : {"MORV", "projects", "atlas", "releases", "1.0.0.7"})
    {
        steps.push_back(name);
    }
    const WorkingDirectory current(mTree.Disk().MakeDirectory("deep"));
    for (const std::string &step : steps)
    {
        ASSERT_EQ(mkdir(step.c_str(), 0755), 0);
        ASSERT_EQ(chdir(step.c_str()), 0);
    }
    EXPECT_EQ(MorvInitialize(0, 0, 0, nullptr), E_FAIL);
    ExpectAll(RefusedStart("current", ""));
}

TEST_F(LifetimeTest, RefusesASpecifiedDirectoryThatDoesNotFit)
{
    const std::string directory = "/" + std::string(970, 'd') + "/MORV/projects/atlas/releases/1.0.0.7/padding";
    ASSERT_GT(directory.size(), 1023u - 100);
    const std::string tooLong = directory + std::string(1024 - directory.size(), 'p');
    EXPECT_EQ(Initialize(tooLong), E_FAIL);
    ExpectAll({Progress("MORV library initializing with specified working directory \"" + tooLong + "\".",
                        InitializeSignature),
               Trace(""),
               Error("MORV runtime environment creation failed because it was unable to get the project information."),
               Error("MORV library initialization failed to create the runtime environment.", InitializeSignature)});

    // One character less is a directory like any other: the project starts, without content.
    EXPECT_EQ(Initialize(tooLong.substr(0, 1023)), S_OK);
}

TEST_F(LifetimeTest, MeasuresASpecifiedDirectoryOnceItsSeparatorsAreCollapsed)
{
    const std::string release = MakeRelease();
    const std::string directory = release + std::string(2000, '/') + "deploy" + std::string(2000, '\\');
    EXPECT_EQ(Initialize(directory), S_OK);
    EXPECT_EQ(Content("a.txt"), "content");
}

TEST_F(LifetimeTest, NeverStartsFromACallThatTakesAHandle)
{
    const WorkingDirectory inside(MakeRelease());
    char byte = 0;
    std::uint32_t bytesRead = 0;
    MorvCloseFile(nullptr);
    MorvFindClose(nullptr);
    EXPECT_EQ(MorvGetFileSize(nullptr), -1);
    EXPECT_EQ(MorvRead(nullptr, 0, 1, &bytesRead, &byte), E_HANDLE);
    EXPECT_EQ(MorvFindNextFile(nullptr, nullptr, nullptr, 0, nullptr), E_HANDLE);
    ExpectAll({});
}

TEST_F(LifetimeTest, NeverStartsForAPathThatIsNone)
{
    const WorkingDirectory inside(MakeRelease());
    EXPECT_EQ(MorvFileExists(nullptr), 0u);
    EXPECT_EQ(MorvFileExists(""), 0u);
    EXPECT_EQ(MorvOpenFile(nullptr), nullptr);
    EXPECT_EQ(MorvOpenFile(""), nullptr);
    EXPECT_EQ(MorvFindFirstFile(nullptr), nullptr);
    ExpectAll({});

    FindHandle *const handle = MorvFindFirstFile("");
    EXPECT_NE(handle, nullptr);
    MorvFindClose(handle);
    EXPECT_FALSE(LogRecorder::Lines().empty());
}

// A second logger, which logs from inside its registration by refusing a start of the library.
std::vector<LogLine> *gOtherLines = nullptr;
int gOtherRegistrations = 0;

void OtherLog(std::int32_t severity, std::uint32_t groupLow, std::uint32_t groupHigh, const char *format, va_list)
{
    gOtherLines->push_back(LogLine{severity, groupLow, groupHigh, format, {}});
}

KeldGroupMask OtherRegister(const char *tag)
{
    EXPECT_STREQ(tag, "MRV");
    ++gOtherRegistrations;
    MorvInitialize(0, 0, 0, "");
    return {0x00020000, 0x00000800};
}

class LoggerHookTest : public ReleaseFixture
{
protected:
    LoggerHookTest()
    {
        gOtherLines = &mOtherLines;
        gOtherRegistrations = 0;
        mOther.RegisterGroup = OtherRegister;
        mOther.Log = OtherLog;
    }

    ~LoggerHookTest() override { MorvSetLogger(LogRecorder::Table()); }

    std::vector<LogLine> mOtherLines;
    IKeldLogger mOther{};
};

TEST_F(LoggerHookTest, RegistersItsGroupOnceAndPutsItIntoEveryMessage)
{
    LogRecorder::Clear();
    MorvSetLogger(LogRecorder::Table());
    EXPECT_EQ(LogRecorder::RegisteredTags(), std::vector<std::string>({"MRV"}));
    MorvInitialize(0, 0, 0, "");
    EXPECT_EQ(LogRecorder::RegisteredTags().size(), 1u);
    for (const LogLine &line : LogRecorder::Lines())
    {
        EXPECT_EQ(line.groupHigh, 0x00000040u);
        EXPECT_EQ(line.groupLow & ~7u, 0x00000100u);
        EXPECT_NE(line.groupLow & 7u, 0u);
    }
}

TEST_F(LoggerHookTest, SendsMessagesToTheNewLoggerBeforeItsRegistrationReturns)
{
    MorvSetLogger(&mOther);
    EXPECT_EQ(gOtherRegistrations, 1);
    // The mask of the logger before it is still in use at that moment.
    ASSERT_EQ(mOtherLines.size(), 6u);
    EXPECT_EQ(mOtherLines[5].groupLow, 0x00000101u);
    EXPECT_EQ(mOtherLines[5].groupHigh, 0x00000040u);
    ExpectAll({});

    mOtherLines.clear();
    MorvInitialize(0, 0, 0, "");
    ASSERT_EQ(mOtherLines.size(), 6u);
    EXPECT_EQ(mOtherLines[5].groupLow, 0x00020001u);
    EXPECT_EQ(mOtherLines[5].groupHigh, 0x00000800u);
}

TEST_F(LoggerHookTest, TellsTheLoggerBeforeNothing)
{
    MorvSetLogger(&mOther);
    EXPECT_TRUE(LogRecorder::RegisteredTags().empty());
    ExpectAll({});
}

TEST_F(LoggerHookTest, RefusesANullLoggerAndChangesNothing)
{
    MorvSetLogger(nullptr);
    MorvInitialize(0, 0, 0, "");
    ASSERT_EQ(LogRecorder::Lines().size(), 6u);
    EXPECT_EQ(LogRecorder::Lines()[0].groupHigh, 0x00000040u);
    EXPECT_EQ(LogRecorder::Lines()[0].groupLow, 0x00000102u);
}

TEST_F(LoggerHookTest, KeepsItsMaskOverAStop)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"a.txt", "a"}}));
    MorvShutdown();
    LogRecorder::Clear();
    MorvInitialize(0, 0, 0, "");
    EXPECT_EQ(LogRecorder::Lines().at(0).groupHigh, 0x00000040u);
}

TEST_F(LoggerHookTest, MayChangeTheLoggerWhileAReleaseIsLoaded)
{
    Start(mTree.Project("atlas", "1.0.0.0", {{"a.txt", "a"}}));
    gOtherLines->clear();
    MorvSetLogger(&mOther);
    EXPECT_EQ(mOtherLines.size(), 1u); // the start from inside the registration was refused
    EXPECT_EQ(Content("a.txt"), "a");
}
} // namespace
} // namespace Keld::Test
