#include "Tools/JsonSchema.h"
#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include "Support/TempTree.h"

#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Manual/CommandFacts.h"

#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdlib>
#include <filesystem>
#include <iterator>
#include <set>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
using Words = std::vector<std::string>;

// One run of a command in the release game 1.0.0.1.
struct Invocation
{
    Words words;
    int exitCode = 0;
    bool writes = false;  ///< into the tree
    int withoutRoom = -1; ///< the status where no file can get a byte, if it is another
};

// At least one of every command. "ROOT" stands for the tree, "BUNDLE" for a bundle of game 1.0.0.1, "OUT" for a name
// that is not there yet, "NEWTREE" for a tree that is not.
const std::vector<Invocation> Invocations = {
    {{"pack", "../../../../../source", "--root", "ROOT", "--project", "other", "--release", "1.0.0.0", "--force"},
     0,
     true,
     2},
    {{"solution", "--root", "ROOT", "--name", "second", "--release", "1.0.0.0", "--project", "game=1.0.0.0:1",
      "--force"},
     0,
     true,
     2},
    {{"info"}},
    {{"ls"}},
    {{"ls", "-l", "-R"}},
    {{"ls", "missing"}, 1},
    {{"tree"}},
    {{"find"}},
    {{"cat", "text.txt"}},
    {{"cat", "missing"}, 1},
    {{"stat", "--check", "text.txt", "data"}},
    {{"releases", "--root", "ROOT"}},
    {{"which", "text.txt"}},
    {{"which", "missing"}, 1},
    {{"conflicts"}},
    {{"verify"}},
    {{"verify", "--quick"}},
    {{"diff", "game/1.0.0.0", "game/1.0.0.1"}, 1},
    {{"diff", "game/1.0.0.0", "game/1.0.0.0"}},
    {{"diff", "game/1.0.0.0", "game/1.0.0.1", "--ship"}, 1},
    {{"extract", "--to", "OUT"}, 0, false, 1},
    {{"fetch", "ROOT", "--root", "NEWTREE", "--project", "game", "--release", "1.0.0.1", "--no-sync"}, 0, false, 2},
    {{"fetch", "ROOT", "--root", "ROOT", "--project", "game", "--release", "1.0.0.1"}, 0, false, 2},
    {{"fetch", "ROOT", "--root", "ROOT", "--project", "game", "--release", "9.0.0.0"}, 2},
    {{"mount", "game/1.0.0.0", "OUT"}, 2},
    {{"publish"}, 0, true, 2},
    {{"bundle", "game/1.0.0.0", "game/1.0.0.1", "-o", "OUT"}, 0, false, 2},
    {{"apply", "OUT"}, 2, true},
    {{"apply", "BUNDLE", "--root", "NEWTREE", "--no-sync"}, 0, false, 2},
    {{"repair"}},
    {{"repair", "--from", "ROOT"}, 0, true, 2},
    {{"prune", "--keep", "game/1.0.0.0", "--keep", "game/1.0.0.1"}},
    {{"du"}},
    {{"du", "--html", "OUT"}, 0, false, 2},
    {{"stats"}},
    {{"stats", "--releases"}},
    {{"doctor"}},
    {{"completion", "bash"}},
};

class EveryCommandTest : public testing::Test
{
protected:
    EveryCommandTest() : mApp("Description", "morv"), mCommands(mApp)
    {
        unsetenv("NO_COLOR");
        mCommands.AddGlobalOptions();
        Morv::AddAllCommands(mCommands);
        mFacts = Morv::ReadToolFacts(mApp);
        std::copy_if(Invocations.begin(), Invocations.end(), std::back_inserter(mInvocations),
                     [this](const Invocation &invocation)
                     {
                         return FindCommand(invocation) != nullptr;
                     });
        mTree.Write("source/text.txt", "text");
        mTree.Write("source/data/a.bin", std::string(5000, 'a'));
        mTree.Write("source/data/b.bin", "b");
        Pack("1.0.0.0", {"--storage", "archive", "--compression", "zlib"});
        mTree.Write("source/text.txt", "other text");
        Pack("1.0.0.1", {"--base", "1.0.0.0", "--rule", "*.txt=managed"});
        mRelease = mTree.Path("MORV/projects/game/releases/1.0.0.1");
        const ToolResult bundled =
            RunMorv(mRelease, {"bundle", "game/1.0.0.1", "-o", mTree.Path("bundle"), "--no-sync"});
        EXPECT_EQ(bundled.exitCode, 0) << bundled.error;
    }

    ~EveryCommandTest() override { unsetenv("NO_COLOR"); }

    void Pack(const std::string &release, const Words &more)
    {
        Words words{"pack", "source", "--root", "MORV", "--project", "game", "--release", release};
        words.insert(words.end(), more.begin(), more.end());
        const ToolResult result = RunMorv(mTree.Root(), words);
        ASSERT_EQ(result.exitCode, 0) << result.error;
    }

    // The words of a run, with a place of its own to write to.
    Words WordsOf(const Invocation &invocation)
    {
        Words words = invocation.words;
        mOut = mTree.Path("out" + std::to_string(++mRuns));
        std::replace(words.begin(), words.end(), std::string("ROOT"), mTree.Path("MORV"));
        std::replace(words.begin(), words.end(), std::string("BUNDLE"), mTree.Path("bundle"));
        std::replace(words.begin(), words.end(), std::string("OUT"), mOut);
        std::replace(words.begin(), words.end(), std::string("NEWTREE"), mOut + "/MORV");
        return words;
    }

    // Null for a command that this build leaves out, as "mount" without libfuse3.
    const Morv::CommandFacts *FindCommand(const Invocation &invocation) const
    {
        const auto found = std::find_if(mFacts.commands.begin(), mFacts.commands.end(),
                                        [&invocation](const Morv::CommandFacts &command)
                                        {
                                            return command.name == invocation.words.front();
                                        });
        return found != mFacts.commands.end() ? &*found : nullptr;
    }

    bool WritesJson(const Invocation &invocation) const
    {
        const std::vector<Morv::OptionFacts> &options = FindCommand(invocation)->options;
        return std::any_of(options.begin(), options.end(),
                           [](const Morv::OptionFacts &option)
                           {
                               return option.names.back() == "--json";
                           });
    }

    TempTree mTree;
    CLI::App mApp;
    Morv::CommandSet mCommands;
    Morv::ToolFacts mFacts;
    std::vector<Invocation> mInvocations; ///< of the commands that this build has
    std::string mRelease;
    std::string mOut; ///< of the last run
    int mRuns = 0;
};

bool HasEscape(const std::string &text)
{
    return text.find('\x1B') != std::string::npos;
}

TEST_F(EveryCommandTest, IsInTheTableOfThisTest)
{
    std::set<std::string> inTable;
    for (const Invocation &invocation : mInvocations)
    {
        inTable.insert(invocation.words.front());
    }
    for (const Morv::CommandFacts &command : mFacts.commands)
    {
        EXPECT_TRUE(inTable.contains(command.name)) << command.name;
    }
    EXPECT_GT(inTable.size(), 15U);
}

TEST_F(EveryCommandTest, TeachesByExampleInItsHelp)
{
    for (const Morv::CommandFacts &command : mFacts.commands)
    {
        const ToolResult result = RunMorv(mTree.Root(), {command.name, "--help"});
        EXPECT_EQ(result.exitCode, 0) << command.name;
        EXPECT_EQ(result.error, "");
        const std::size_t examples = result.out.find("\nExample");
        ASSERT_NE(examples, std::string::npos) << command.name;
        EXPECT_NE(result.out.find(" " + command.name, examples), std::string::npos) << command.name;
    }
}

TEST_F(EveryCommandTest, WritesPlainDataIntoAFileAndEndsWithItsStatus)
{
    for (const Invocation &invocation : mInvocations)
    {
        SCOPED_TRACE(testing::PrintToString(invocation.words));
        const ToolResult result = RunMorv(mRelease, WordsOf(invocation));
        EXPECT_EQ(result.exitCode, invocation.exitCode) << result.error;
        EXPECT_FALSE(HasEscape(result.out));
        EXPECT_FALSE(HasEscape(result.error));
        EXPECT_EQ(result.error.find('\r'), std::string::npos) << "progress is for terminals";
        if (invocation.exitCode == 2)
        {
            EXPECT_EQ(result.out, "");
            EXPECT_NE(result.error, "");
        }
    }
}

TEST_F(EveryCommandTest, SaysNothingBesideItsDataWhenItIsToBeQuiet)
{
    for (const Invocation &invocation : mInvocations)
    {
        Words words = WordsOf(invocation);
        words.emplace_back("-q");
        const ToolResult result = RunMorv(mRelease, words);
        EXPECT_EQ(result.exitCode, invocation.exitCode) << result.error;
        EXPECT_EQ(result.error.empty(), invocation.exitCode == 0 || !result.out.empty())
            << testing::PrintToString(words) << result.error;
    }
}

TEST_F(EveryCommandTest, WritesOneDocumentWhenAskedForJson)
{
    int documents = 0;
    for (const Invocation &invocation : mInvocations)
    {
        if (!WritesJson(invocation) || invocation.exitCode == 2)
        {
            continue;
        }
        ++documents;
        Words words = WordsOf(invocation);
        words.emplace_back("--json");
        const ToolResult result = RunMorv(mRelease, words);
        EXPECT_EQ(result.exitCode, invocation.exitCode) << result.error;
        const auto document = nlohmann::json::parse(result.out, nullptr, false);
        ASSERT_TRUE(document.is_object()) << testing::PrintToString(words) << result.out;
        const bool ofReleases = words.front() == "stats" && words[1] == "--releases"; // a table of its own
        const std::string form = words.front() + (ofReleases ? "-releases" : "");
        EXPECT_EQ(document.value("format", ""), "morv." + form + "/1");
        ExpectMatchesSchema(form, result.out);
    }
    EXPECT_GT(documents, 20);
}

TEST_F(EveryCommandTest, ShowsOnATerminalNothingButTextAndColour)
{
    for (const Invocation &invocation : mInvocations)
    {
        SCOPED_TRACE(testing::PrintToString(invocation.words));
        const ToolResult result = RunMorvOnTerminal(mRelease, WordsOf(invocation));
        EXPECT_EQ(result.exitCode, invocation.exitCode) << result.out;
        const bool isClean = std::all_of(result.out.begin(), result.out.end(),
                                         [](char letter)
                                         {
                                             return static_cast<unsigned char>(letter) >= ' ' || letter == '\n' ||
                                                    letter == '\r' || letter == '\t' || letter == '\x1B';
                                         });
        EXPECT_TRUE(isClean) << result.out;
    }
}

TEST_F(EveryCommandTest, HeedsNoColorOnATerminal)
{
    setenv("NO_COLOR", "1", 1);
    for (const Invocation &invocation : mInvocations)
    {
        SCOPED_TRACE(testing::PrintToString(invocation.words));
        const ToolResult result = RunMorvOnTerminal(mRelease, WordsOf(invocation));
        EXPECT_EQ(result.exitCode, invocation.exitCode) << result.out;
        EXPECT_FALSE(HasEscape(result.out)) << result.out;
    }
}

TEST_F(EveryCommandTest, EndsQuietlyWhenNobodyReadsItsOutput)
{
    for (const Invocation &invocation : mInvocations)
    {
        const Words words = WordsOf(invocation);
        const bool hasOutput = !RunMorv(mRelease, WordsOf(invocation)).out.empty();
        int ends[2] = {};
        ASSERT_EQ(pipe2(ends, O_CLOEXEC), 0);
        close(ends[0]);
        const ToolResult result = RunMorvInto(mRelease, words, ends[1]);
        close(ends[1]);
        EXPECT_EQ(result.exitCode, hasOutput ? 0 : invocation.exitCode)
            << testing::PrintToString(words) << result.error;
        EXPECT_EQ(result.error.find("ipe"), std::string::npos) << result.error;
    }
}

TEST_F(EveryCommandTest, SaysThatTheDiskIsFullAndEndsWithTrouble)
{
    for (const Invocation &invocation : mInvocations)
    {
        const Words words = WordsOf(invocation);
        const bool hasOutput = !RunMorv(mRelease, WordsOf(invocation)).out.empty();
        const int full = open("/dev/full", O_WRONLY | O_CLOEXEC);
        ASSERT_GE(full, 0);
        const ToolResult result = RunMorvInto(mRelease, words, full);
        close(full);
        EXPECT_EQ(result.exitCode, hasOutput ? 2 : invocation.exitCode)
            << testing::PrintToString(words) << result.error;
        EXPECT_EQ(result.error.find("No space left") != std::string::npos, hasOutput) << result.error;
    }
}

TEST_F(EveryCommandTest, LeavesNothingHalfMadeWhereNoFileCanBeWritten)
{
    const std::string releases = RunMorv(mRelease, {"releases", "--json"}).out;
    for (const Invocation &invocation : mInvocations)
    {
        SCOPED_TRACE(testing::PrintToString(invocation.words));
        const ToolResult result = RunMorvWithoutRoom(mRelease, WordsOf(invocation));
        const bool isHindered = invocation.withoutRoom >= 0;
        EXPECT_EQ(result.exitCode, isHindered ? invocation.withoutRoom : invocation.exitCode) << result.out;
        EXPECT_EQ(result.out.find("File too large") != std::string::npos, isHindered) << result.out;
        if (isHindered)
        {
            EXPECT_EQ(RunMorv(mRelease, {"releases", "--json"}).out, releases);
            EXPECT_EQ(RunMorv(mRelease, {"verify", "-q"}).exitCode, 0);
            EXPECT_TRUE(invocation.words.back() != "OUT" || !std::filesystem::is_regular_file(mOut));
            const std::filesystem::path brought = mOut + "/MORV/projects/game/releases";
            EXPECT_FALSE(std::filesystem::exists(brought / "1.0.0.1/releasemanifest"));
        }
    }
}

TEST_F(EveryCommandTest, LeavesTheTreeAsItIsUnlessThatIsItsWork)
{
    const std::string archives = "MORV/projects/game/filearchives/1.0.0.0/";
    mTree.Write(archives + "damaged.vka", "this is no index");
    mTree.Write(archives + "empty.vka", "");
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    for (const Invocation &invocation : mInvocations)
    {
        if (!invocation.writes)
        {
            RunMorv(mRelease, WordsOf(invocation));
            EXPECT_EQ(TakeSnapshot(mTree.Path("MORV")), before) << testing::PrintToString(invocation.words);
        }
    }
}
} // namespace
} // namespace Keld::Test
