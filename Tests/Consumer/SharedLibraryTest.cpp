#include "Support/ReleaseFixture.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <cstdio>
#include <memory>
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

TEST_F(ConsumerInCTest, LeavesWarningsAndErrorsOnStandardErrorWithoutALoggerOfItsOwn)
{
    const CommandResult run = RunCommand(KELD_CONSUMER_IN_C " '" + mTree.Root() + "'");
    EXPECT_EQ(run.status, 1);
    std::vector<std::string> lines;
    std::istringstream stream(run.output);
    for (std::string line; std::getline(stream, line);)
    {
        lines.push_back(line);
    }
    ASSERT_EQ(lines.size(), 4u) << run.output;
    const std::vector<std::string> expected = {
        "Did not find keywords \"projects\" or \"solutions\" in path " + mTree.Root(),
        "MORV runtime environment creation failed because it was unable to get the project information.",
        "MORV library initialization failed to create the runtime environment.", "not started: 80004005"};
    for (std::size_t index = 0; index < expected.size(); ++index)
    {
        EXPECT_NE(lines[index].find(expected[index]), std::string::npos) << lines[index];
        EXPECT_EQ(lines[index].find("MRV"), std::string::npos) << "no logger has registered the library's group";
    }
}

TEST_F(ConsumerInCTest, IsCleanedUpAfterAtTheEndOfTheProcess)
{
    const std::string release = mTree.Project("atlas", "1.0.0.0", {{"a.txt", "content"}});
    const CommandResult run = RunCommand(KELD_CONSUMER_IN_C " '" + release + "' a.txt");
    EXPECT_EQ(run.status, 0);
    const std::size_t line = run.output.find("The file was not closed before shutdown.\n");
    EXPECT_NE(line, std::string::npos) << run.output;
    EXPECT_EQ(run.output.find('\n') + 1, run.output.size()) << run.output;
}
} // namespace
} // namespace Keld::Test
