#include "Support/ReleaseFixture.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <regex>
#include <sstream>
#include <sys/wait.h>

namespace Keld::Test
{
namespace
{
struct CommandResult
{
    int status;
    std::string output;
};

CommandResult RunCommand(const std::string &command)
{
    FILE *const pipe = popen((command + " 2>&1").c_str(), "r");
    if (pipe == nullptr)
    {
        return {-1, "cannot run " + command};
    }
    std::string output;
    std::array<char, 4096> part;
    while (const std::size_t size = std::fread(part.data(), 1, part.size(), pipe))
    {
        output.append(part.data(), size);
    }
    const int status = pclose(pipe);
    return {WIFEXITED(status) ? WEXITSTATUS(status) : -1, output};
}

TEST(SharedLibraryTest, ExportsElevenNamesAndNoOthers)
{
    const CommandResult table = RunCommand(KELD_NM " -D --defined-only " KELD_LIBRARY);
    ASSERT_EQ(table.status, 0) << table.output;
    std::vector<std::string> names;
    std::istringstream lines(table.output);
    std::string address;
    std::string kind;
    std::string name;
    while (lines >> address >> kind >> name)
    {
        EXPECT_EQ(kind, "T") << name;
        names.push_back(name);
    }
    std::sort(names.begin(), names.end());
    EXPECT_EQ(names, std::vector<std::string>({"MorvCloseFile", "MorvFileExists", "MorvFindClose", "MorvFindFirstFile",
                                               "MorvFindNextFile", "MorvGetFileSize", "MorvInitialize", "MorvOpenFile",
                                               "MorvRead", "MorvSetLogger", "MorvShutdown"}));
}

TEST(SharedLibraryTest, CarriesItsMajorVersionInItsName)
{
    const CommandResult header = RunCommand(KELD_READELF " -d " KELD_LIBRARY);
    ASSERT_EQ(header.status, 0) << header.output;
    EXPECT_NE(header.output.find("[libKeldMorvIO.so.1]"), std::string::npos) << header.output;
}

// A program in C, which makes its own logger, does all that a consumer does, and tells what it saw.
class ConsumerInCTest : public ReleaseFixture
{
};

TEST_F(ConsumerInCTest, StartsFindsReadsAndStops)
{
    const std::string release = mTree.Project("atlas", "1.0.0.0", {{"data/a.txt", "content"}, {"b.txt", "bb"}});
    const CommandResult run = RunCommand(KELD_CONSUMER_IN_C " '" + release + "' data/a.txt '*'");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "registered MRV\n"
                          "size 7\n"
                          "content\n"
                          "directory data 0\n"
                          "file b.txt 2\n"
                          "failures 0\n");
}

TEST_F(ConsumerInCTest, HearsOfAFailedStart)
{
    const CommandResult run = RunCommand(KELD_CONSUMER_IN_C " '" + mTree.Root() + "' data/a.txt '*'");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "registered MRV\n"
                          "not started: 80004005\n"
                          "failures 3\n");
}

/// What a program prints on standard error alone, with the number of the thread, which no two runs share, as a word.
std::string RunForErrors(const std::string &command)
{
    const CommandResult run = RunCommand("( " + command + " 2>&1 >/dev/null )");
    return std::regex_replace(run.output, std::regex("<unknown>\\([0-9]+\\)"), "<unknown>(THREAD)");
}

TEST_F(ConsumerInCTest, LeavesWarningsAndErrorsOnStandardErrorWithoutALoggerOfItsOwn)
{
    const std::string command = KELD_CONSUMER_IN_C " '" + mTree.Root() + "'";
    EXPECT_EQ(RunForErrors(command),
              "<unknown>(THREAD):   WARN| static bool Keld::MORV::Reader::RuntimeEnvironment::"
              "GetProjectTypeNameAndVersion(const char *, RuntimeEnvironment::RuntimeType &, std::string &, "
              "MorvVersion &): Did not find keywords \"projects\" or \"solutions\" in path " +
                  mTree.Root() +
                  "\n"
                  "<unknown>(THREAD):  ERROR| static Keld::MORV::Reader::RuntimeEnvironment "
                  "*Keld::MORV::Reader::RuntimeEnvironment::Create(const char *): MORV runtime environment creation "
                  "failed because it was unable to get the project information.\n"
                  "<unknown>(THREAD):  ERROR| HRESULT Keld::MORV::Reader::MorvExportsMain::Initialize(const char *): "
                  "MORV library initialization failed to create the runtime environment.\n");
    const CommandResult run = RunCommand("( " + command + " 2>/dev/null )");
    EXPECT_EQ(run.status, 1);
    EXPECT_EQ(run.output, "not started: 80004005\n") << "nothing of the library's is on standard output";
}

TEST_F(ConsumerInCTest, ShowsNothingOfAStartThatSucceeds)
{
    const std::string release = mTree.Project("atlas", "1.0.0.0", {{"a.txt", "content"}});
    const CommandResult run = RunCommand(KELD_CONSUMER_IN_C " '" + release + "'");
    EXPECT_EQ(run.status, 0);
    EXPECT_EQ(run.output, "");
}

TEST_F(ConsumerInCTest, IsCleanedUpAfterAtTheEndOfTheProcess)
{
    const std::string release = mTree.Project("atlas", "1.0.0.0", {{"a.txt", "content"}});
    const std::string command = KELD_CONSUMER_IN_C " '" + release + "' a.txt";
    EXPECT_EQ(RunCommand(command).status, 0);
    EXPECT_EQ(RunForErrors(command),
              "<unknown>(THREAD):  ERROR| void Keld::MORV::Reader::ProjectListing::FileInfo::Reset(): The file was not "
              "closed before shutdown.\n");
}
} // namespace
} // namespace Keld::Test
