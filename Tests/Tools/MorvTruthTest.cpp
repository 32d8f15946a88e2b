#include "Tools/OpenedRelease.h"
#include "Tools/ToolRun.h"
#include "Tools/TreeSnapshot.h"

#include "Support/AsNobody.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Road.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <optional>

#include <sys/resource.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

/// What people meet with trees that are not as they should be, and with the ways in which they type.
class MorvTruthTest : public OpenedRelease
{
protected:
    MorvTruthTest()
    {
        for (int number = 0; number < 20; ++number)
        {
            mTree.Write("source/base/" + std::to_string(number) + ".txt", "text " + std::to_string(number));
        }
        mTree.Write("source/readme.txt", std::string(3000, 'r'));
        Pack({"--release", "1.0.0.0", "--storage", "archive", "--rule", "readme.txt=archive:zlib"});
    }

    void Pack(const std::vector<std::string> &more)
    {
        std::vector<std::string> arguments{"pack", "source", "--root", "MORV", "--project", "game", "--no-sync", "-q"};
        arguments.insert(arguments.end(), more.begin(), more.end());
        const ToolResult packed = RunMorv(mTree.Root(), arguments);
        EXPECT_EQ(packed.exitCode, 0) << packed.error;
    }

    ToolResult RunHere(const std::vector<std::string> &arguments) const
    {
        return RunMorv(ReleaseDirectory(), arguments);
    }

    static void ExpectError(const ToolResult &result, int exitCode, const std::string &text)
    {
        EXPECT_EQ(result.exitCode, exitCode);
        EXPECT_NE(result.error.find(text), std::string::npos) << result.error;
    }

    const std::string Data = Archives + "files-0001.vka.dat";
};

TEST_F(MorvTruthTest, ALostBaseIsToldOnceWithACountAndExamples)
{
    mTree.Write("source/new.txt", "new");
    Pack({"--release", "1.0.0.1", "--base", "1.0.0.0"});
    mTree.Remove(Archives);
    const std::string release = ReleaseDirectory("1.0.0.1");
    for (const std::vector<std::string> &arguments :
         std::vector<std::vector<std::string>>{{"ls"}, {"tree"}, {"find"}, {"cat", "new.txt"}, {"info"}})
    {
        const ToolResult result = RunMorv(release, arguments);
        ExpectError(result, 1, "morv: 21 of 22 files are missing and will not be found:\n");
        EXPECT_NE(result.error.find("\nmorv:   and 18 more\n"), std::string::npos) << result.error;
        EXPECT_EQ(std::count(result.error.begin(), result.error.end(), '\n'), 5) << result.error;
    }
    EXPECT_EQ(RunMorv(release, {"cat", "new.txt"}).out, "new");
    EXPECT_EQ(RunMorv(release, {"find", "-t", "f"}).out, "new.txt\n");
    EXPECT_EQ(RunMorv(release, {"stat", "new.txt"}).exitCode, 0); // nothing but this file was asked for
}

TEST_F(MorvTruthTest, CatHoldsContentAgainstTheDigestUnlessToldNotTo)
{
    std::string bytes = mTree.Read(Data);
    FlipByte(Data, bytes.find("text 1"));
    ExpectError(RunHere({"cat", "base/1.txt"}), 1, "the content is not what was packed: its digest is ");
    const ToolResult unchecked = RunHere({"cat", "--no-check", "base/1.txt"});
    EXPECT_EQ(unchecked.exitCode, 0);
    EXPECT_EQ(unchecked.out, std::string("!ext 1").replace(0, 1, 1, static_cast<char>('t' ^ 0x55)));
    EXPECT_EQ(RunHere({"cat", "base/2.txt"}).exitCode, 0);
}

TEST_F(MorvTruthTest, StatChecksTheExpectedDigestWhenAsked)
{
    FlipByte(Data, mTree.Read(Data).find("text 1"));
    EXPECT_NE(RunHere({"stat", "base/1.txt"}).out.find("  expected digest  "), std::string::npos);
    EXPECT_EQ(RunHere({"stat", "base/1.txt"}).exitCode, 0);
    const ToolResult damaged = RunHere({"stat", "--check", "base/1.txt"});
    ExpectError(damaged, 1, "base/1.txt: " + mTree.Path(Data) + ": the content is not what was packed");
    EXPECT_NE(damaged.out.find("  content          DAMAGED\n"), std::string::npos);
    const ToolResult good = RunHere({"stat", "--check", "readme.txt", "base"});
    EXPECT_EQ(good.exitCode, 0) << good.error;
    EXPECT_NE(good.out.find("  content          has the expected digest\n"), std::string::npos);
}

TEST_F(MorvTruthTest, ARootOfAnotherNameIsTheCauseThatIsNamed)
{
    fs::rename(mTree.Path("MORV"), mTree.Path("content"));
    const ToolResult result = RunMorv(mTree.Path("content/projects/game/releases/1.0.0.0"), {"ls"});
    ExpectError(result, 2, "lies in no directory named MORV, and by that name alone the library finds a tree");
}

TEST_F(MorvTruthTest, ACopiedProjectFolderIsNamedWithWhereItsFilesComeFrom)
{
    fs::copy(mTree.Path("MORV/projects/game"), mTree.Path("MORV/projects/copy"), fs::copy_options::recursive);
    const ToolResult result = RunMorv(mTree.Path("MORV/projects/copy/releases/1.0.0.0"), {"ls"});
    ExpectError(result, 0,
                "its manifest is that of game 1.0.0.0, and files are served from there: the directory was "
                "renamed or copied");
    EXPECT_EQ(result.out, "base/\nreadme.txt\n");
}

TEST_F(MorvTruthTest, ADirectoryThatCannotBeEnteredIsNotCalledMissing)
{
    fs::permissions(mTree.Root(), fs::perms(0755));
    mTree.Write("source/closed/naked.txt", "naked");
    Pack({"--release", "1.0.0.1", "--base", "1.0.0.0", "--rule", "naked.txt=naked"});
    const std::string closed = ReleaseDirectory("1.0.0.1") + "/deploy/closed";
    fs::permissions(closed, fs::perms(0600));
    const AsNobody nobody;
    const ToolResult result = RunMorv(ReleaseDirectory("1.0.0.1"), {"ls"});
    ExpectError(result, 1, "cannot be reached: the directory " + closed + " cannot be entered\n");
    EXPECT_EQ(result.error.find("is missing"), std::string::npos) << result.error;
}

TEST_F(MorvTruthTest, AnIndexWithoutReadPermissionIsNamedAndStays)
{
    fs::permissions(mTree.Root(), fs::perms(0755));
    mTree.Write("source/naked.txt", "naked");
    Pack({"--release", "1.0.0.1", "--base", "1.0.0.0", "--rule", "naked.txt=naked"});
    fs::permissions(mTree.Path(Archives + "files-0001.vka"), fs::perms(0));
    const AsNobody nobody;
    const ToolResult result = RunMorv(ReleaseDirectory("1.0.0.1"), {"cat", "naked.txt"});
    ExpectError(result, 1, "files-0001.vka: cannot be read: permission denied");
    EXPECT_EQ(result.out, "naked");
    EXPECT_TRUE(mTree.Exists(Archives + "files-0001.vka"));
}

TEST_F(MorvTruthTest, ADamagedCompressedFileIsCalledDamagedWithItsPlace)
{
    const std::string stat = RunHere({"stat", "readme.txt"}).out;
    const std::size_t offset = std::stoul(stat.substr(stat.find("  offset           ") + 19));
    FlipByte(Data, offset); // the first byte of the stream's head
    ExpectError(RunHere({"cat", "readme.txt"}), 1,
                "readme.txt: " + mTree.Path(Data) + ": damaged zlib data in bytes " + std::to_string(offset) + " to ");
}

TEST_F(MorvTruthTest, ALackOfDescriptorsIsTheCauseThatIsNamed)
{
    Morv::CommonOptions options;
    options.directory = ReleaseDirectory();
    EXPECT_TRUE(Morv::OpenFileSystem(options, {})->Exists("readme.txt")); // and the sanitizers have seen all classes
    struct rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    const struct rlimit none = {3, limit.rlim_max};
    std::optional<TreeReader::TreeError> failure; // looked at when there are descriptors again
    setrlimit(RLIMIT_NOFILE, &none);
    try
    {
        EXPECT_FALSE(Morv::OpenFileSystem(options, {}));
    }
    catch (const TreeReader::TreeError &error)
    {
        failure = error;
    }
    setrlimit(RLIMIT_NOFILE, &limit);
    ASSERT_TRUE(failure);
    const std::string message = failure->what();
    EXPECT_NE(message.find("no descriptors are left: this process may hold 3 files open"), std::string::npos)
        << message;
}

TEST_F(MorvTruthTest, ARootUnderAFileIsRefusedInWords)
{
    mTree.Write("file", "");
    const ToolResult packed =
        RunMorv(mTree.Root(), {"pack", "source", "--root", "file/MORV", "--project", "game", "--release", "2.0.0.0"});
    ExpectError(packed, 2, "cannot make " + mTree.Path("file/MORV") + ": Not a directory");
    EXPECT_EQ(packed.error.find("filesystem error"), std::string::npos);
    const ToolResult listed = RunMorv(mTree.Root(), {"releases", "--root", "file/MORV"});
    ExpectError(listed, 2, "file/MORV: there is no such tree");
}

TEST_F(MorvTruthTest, AShellsWayToWriteAPathIsTakenWithANote)
{
    for (const std::string typed : {"./readme.txt", "/readme.txt"})
    {
        const ToolResult result = RunHere({"cat", typed});
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.out, std::string(3000, 'r'));
        EXPECT_EQ(result.error,
                  "morv: note: " + typed + ": a program that loads the library must ask for \"readme.txt\"\n");
        EXPECT_EQ(RunHere({"cat", "-q", typed}).error, "");
        EXPECT_EQ(RunHere({"stat", typed}).error, result.error);
    }
    EXPECT_EQ(RunHere({"ls", "/"}).error, "");
}

TEST_F(MorvTruthTest, ControlCharactersInNamesAreShownOnATerminalAndSentElsewhere)
{
    mTree.Write("source/bad\x1b[31m\nname", "x");
    Pack({"--release", "1.0.0.0", "--force"});
    const std::string shown = "bad\\x1b[31m\\nname";
    for (const std::vector<std::string> &arguments :
         std::vector<std::vector<std::string>>{{"ls"}, {"tree"}, {"find", "-t", "f"}, {"stat", "bad\x1b[31m\nname"}})
    {
        const ToolResult onTerminal = RunMorvOnTerminal(ReleaseDirectory(), arguments);
        EXPECT_EQ(onTerminal.exitCode, 0) << onTerminal.out;
        EXPECT_NE(onTerminal.out.find(shown), std::string::npos) << onTerminal.out;
        EXPECT_EQ(onTerminal.out.find("\x1b[31m"), std::string::npos) << onTerminal.out;
        EXPECT_NE(RunHere(arguments).out.find("bad\x1b[31m\nname"), std::string::npos);
    }
    const ToolResult refused = RunMorvOnTerminal(ReleaseDirectory(), {"--color=never", "cat", "no\x1b[31mfile"});
    EXPECT_NE(refused.out.find("morv: no\\x1b[31mfile: not found"), std::string::npos) << refused.out;
}

TEST_F(MorvTruthTest, EqualPrioritiesAreNamedWithWhoWins)
{
    const ToolResult packed = RunMorv(
        mTree.Root(), {"pack", "source", "--root", "MORV", "--project", "data", "--release", "1.0.0.0", "--no-sync"});
    ASSERT_EQ(packed.exitCode, 0) << packed.error;
    const ToolResult solution =
        RunMorv(mTree.Root(), {"solution", "--root", "MORV", "--name", "suite", "--release", "0.0.1.0", "--project",
                               "game=1.0.0.0:7", "--project", "data=1.0.0.0:7"});
    ASSERT_EQ(solution.exitCode, 0) << solution.error;
    const std::string note = "data and game have the same priority, 7: data wins, by its name\n";
    const std::string directory = mTree.Path("MORV/solutions/suite/releases/0.0.1.0");
    EXPECT_EQ(RunMorv(directory, {"info"}).error, "morv: note: " + note);
    EXPECT_NE(RunMorv(directory, {"stat", "readme.txt"}).out.find("  project          data 1.0.0.0\n"),
              std::string::npos);
    EXPECT_NE(RunMorv(mTree.Root(), {"releases"}).error.find(note), std::string::npos);
}

TEST_F(MorvTruthTest, NoReadingCommandChangesATreeWithDamagedIndexes)
{
    mTree.Write("source/naked.txt", "naked");
    Pack({"--release", "1.0.0.1", "--base", "1.0.0.0", "--rule", "naked.txt=naked"});
    mTree.Write(Archives + "broken.vka", "no index");
    mTree.Write(Archives + "broken.vka.dat", "");
    mTree.Write(Archives + "hollow.vka", "");
    const TreeSnapshot before = TakeSnapshot(mTree.Path("MORV"));
    for (const std::vector<std::string> &arguments :
         std::vector<std::vector<std::string>>{{"ls", "-lR"},
                                               {"tree"},
                                               {"find", "--glob", "**"},
                                               {"cat", "readme.txt", "naked.txt"},
                                               {"stat", "--check", "readme.txt", "/"},
                                               {"info"},
                                               {"releases"}})
    {
        const ToolResult result = RunMorv(ReleaseDirectory("1.0.0.1"), arguments);
        EXPECT_NE(result.exitCode, 2) << arguments[0] << result.error;
        EXPECT_NE(result.out, "");
        EXPECT_TRUE(TakeSnapshot(mTree.Path("MORV")) == before) << arguments[0];
    }
    ExpectError(RunMorv(ReleaseDirectory("1.0.0.1"), {"ls"}), 1,
                "broken.vka: is no archive index, or a damaged one; the library deletes it where it may write");
}
} // namespace
} // namespace Keld::Test
