#include "Tools/ToolRun.h"

#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace Keld::Test
{
namespace
{
/// One release with a file in every storage.
class MorvReadTest : public testing::Test
{
protected:
    MorvReadTest()
    {
        mTree.Write("source/Docs/readme.txt", "read me\n");
        mTree.Write("source/docs2/a.b.dds", "x");
        mTree.Write("source/managed.bin", std::string("\0\xFF", 2));
        mTree.Write("source/stored.raw", "stored");
        mTree.Write("source/text.z", std::string(2000, 'z'));
        mTree.Write("source/text.l", std::string(2'000'000, 'l'));
        mTree.MakeDirectory("source/empty");
        const ToolResult packed =
            RunMorv(mTree.Root(), {"pack", "source", "--root", "MORV", "--project", "game", "--release", "1.0.0.0",
                                   "--rule", "*.bin=managed", "--rule", "*.raw=archive", "--rule", "*.z=archive:zlib",
                                   "--rule", "*.l=archive:lzma"});
        EXPECT_EQ(packed.exitCode, 0) << packed.error;
    }

    ToolResult Morv(const std::vector<std::string> &arguments) const
    {
        return RunMorv(mTree.Path("MORV/projects/game/releases/1.0.0.0"), arguments);
    }

    void ExpectOutput(const std::vector<std::string> &arguments, const std::string &output) const
    {
        const ToolResult result = Morv(arguments);
        EXPECT_EQ(result.exitCode, 0) << result.error;
        EXPECT_EQ(result.out, output);
        EXPECT_EQ(result.error, "");
    }

    void ExpectRefused(const std::vector<std::string> &arguments, const std::string &reason) const
    {
        const ToolResult result = Morv(arguments);
        EXPECT_EQ(result.exitCode, 1);
        EXPECT_NE(result.error.find("morv: " + reason), std::string::npos) << result.error;
    }

    std::string StatOf(const std::string &path) const { return Morv({"stat", path}).out; }

    TempTree mTree;
};

TEST_F(MorvReadTest, LsListsSubdirectoriesFirst)
{
    ExpectOutput({"ls"}, "Docs/\ndocs2/\nempty/\nmanaged.bin\nstored.raw\ntext.l\ntext.z\n");
    ExpectOutput({"ls", "docs"}, "readme.txt\n");
    ExpectOutput({"ls", "DOCS/"}, "readme.txt\n");
    ExpectOutput({"ls", "empty"}, "");
    ExpectOutput({"ls", "docs", "docs2"}, "docs:\nreadme.txt\ndocs2:\na.b.dds\n");
}

TEST_F(MorvReadTest, EveryCommandLooksIntoTheReleaseThatIsNamed)
{
    const std::vector<std::vector<std::string>> commands{{"ls", "-lR"},      {"ls", "--through-library"},
                                                         {"tree"},           {"find", "--type", "f"},
                                                         {"cat", "text.z"},  {"cat", "--through-library", "text.l"},
                                                         {"info"},           {"stat", "text.z", "Docs"},
                                                         {"info", "--json"}, {"stat", "--json", "managed.bin"},
                                                         {"ls", "--json"}};
    for (std::vector<std::string> command : commands)
    {
        const ToolResult inside = Morv(command);
        command.insert(command.end(), {"--release", "game/1.0.0.0"});
        const ToolResult named = RunMorv(mTree.Path("MORV"), command);
        EXPECT_EQ(named.exitCode, 0) << command[0] << ": " << named.error;
        EXPECT_EQ(named.out, inside.out) << command[0];
    }
}

TEST_F(MorvReadTest, AReleaseThatIsNotThereIsNamed)
{
    for (const char *command : {"ls", "tree", "find", "info"})
    {
        const ToolResult result = RunMorv(mTree.Path("MORV"), {command, "--release", "game/1.0.0.1"});
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_NE(result.error.find("1.0.0.1"), std::string::npos) << result.error;
        EXPECT_EQ(RunMorv(mTree.Path("MORV"), {command, "--release", "game"}).exitCode, 2);
    }
}

TEST_F(MorvReadTest, LsShowsAFileUnderItsOwnNameWithoutOpeningIt)
{
    ExpectOutput({"ls", "-l", "DOCS/README.TXT"}, "           8  readme.txt\n");
    ExpectOutput({"ls", "-lh", "text.l"}, "    1.91 MiB  text.l\n");
    ExpectOutput({"ls", "-l", "docs2", "text.l"}, "docs2:\n           1  a.b.dds\ntext.l:\n     2000000  text.l\n");
    ExpectRefused({"ls", "nothing"}, "nothing: not found");
}

TEST_F(MorvReadTest, TheWorkingDirectoryCanBeGiven)
{
    const ToolResult result =
        RunMorv("/", {"-C", mTree.Path("MORV/projects/game/releases/1.0.0.0/deploy"), "ls", "docs"});
    EXPECT_EQ(result.out, "readme.txt\n");
    const ToolResult behind = RunMorv(mTree.Root(), {"ls", "docs", "-C", "MORV/projects/game/releases/1.0.0.0"});
    EXPECT_EQ(behind.out, "readme.txt\n");
}

TEST_F(MorvReadTest, TreeDrawsAllLevelsAndCounts)
{
    ExpectOutput({"tree"}, "/\n├── Docs/\n│   └── readme.txt\n├── docs2/\n│   └── a.b.dds\n├── empty/\n"
                           "├── managed.bin\n├── stored.raw\n├── text.l\n└── text.z\n\n"
                           "3 directories, 6 files, 2002017 bytes\n");
    ExpectOutput({"tree", "docs"}, "docs/\n└── readme.txt\n\n0 directories, 1 file, 8 bytes\n");
    ExpectRefused({"tree", "stored.raw"}, "stored.raw: is no directory");
}

TEST_F(MorvReadTest, FindMatchesNamesByTheLibrarysPatterns)
{
    ExpectOutput({"find", "--name", "*.TXT"}, "Docs/readme.txt\n");
    ExpectOutput({"find", "--type", "d"}, "Docs\ndocs2\nempty\n");
    ExpectOutput({"find", "docs2"}, "docs2/a.b.dds\n");
    ExpectOutput({"find", "-n", "text.?", "-t", "f"}, "text.l\ntext.z\n");
    ExpectRefused({"find", "--name", "*.dds"}, "nothing matches"); // the pattern's dot takes the first dot
    ExpectRefused({"find", "stored.raw"}, "stored.raw: is no directory");
}

TEST_F(MorvReadTest, FindTellsWhereAPatternGoesAndEndsPathsAsAsked)
{
    ExpectRefused({"find", "*.txt"}, "*.txt: is no directory here; a pattern goes behind --name");
    ExpectOutput({"find", "-0", "--name", "*.txt"}, std::string("Docs/readme.txt\0", 16));
}

TEST_F(MorvReadTest, NamesThatAShellOrAParserWouldTakeForMoreAreNames)
{
    const std::vector<std::string> names{"-l",         "--help", "[]", "[a,b]", "[[x]]",
                                         "two\nlines", "{}",     "%s", "\xFF",  "a b"};
    for (const std::string &name : names)
    {
        mTree.Write("names/" + name, name);
    }
    ASSERT_EQ(RunMorv(mTree.Root(), {"pack", "names", "--root", "MORV", "--project", "names", "--release", "1.0.0.0"})
                  .exitCode,
              0);
    for (const std::string &name : names)
    {
        for (const std::string command : {"cat", "ls", "stat"})
        {
            const ToolResult result =
                RunMorv(mTree.Path("MORV/projects/names/releases/1.0.0.0"), {command, "--", name});
            EXPECT_EQ(result.exitCode, 0) << command << " " << name << result.error;
            EXPECT_EQ(result.out.substr(0, name.size()), name) << command;
        }
    }
}

TEST_F(MorvReadTest, CatStreamsFilesOfEveryStorage)
{
    ExpectOutput({"cat", "docs/readme.txt", "stored.raw", "managed.bin"}, "read me\nstored" + std::string("\0\xFF", 2));
    ExpectOutput({"cat", "text.z"}, std::string(2000, 'z'));
    EXPECT_TRUE(Morv({"cat", "text.l"}).out == std::string(2'000'000, 'l'));
}

TEST_F(MorvReadTest, CatReadsAnLzmaFileAsOftenAsItIsNamed)
{
    EXPECT_TRUE(Morv({"cat", "text.l", "TEXT.L"}).out == std::string(4'000'000, 'l'));
}

TEST_F(MorvReadTest, CatGoesOnBehindAFileThatIsNotThere)
{
    const ToolResult result = Morv({"cat", "nothing", "docs", "stored.raw"});
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.out, "stored");
    EXPECT_NE(result.error.find("morv: nothing: not found"), std::string::npos);
    EXPECT_NE(result.error.find("morv: docs: is a directory"), std::string::npos);
}

TEST_F(MorvReadTest, CatNamesTheRootThatItRefuses)
{
    ExpectRefused({"cat", "/"}, "/: is a directory");
}

TEST_F(MorvReadTest, CatTellsWhereAShortenedFileEnds)
{
    mTree.Write("MORV/projects/game/releases/1.0.0.0/deploy/Docs/readme.txt", "re");
    ExpectRefused({"cat", "docs/readme.txt"},
                  "docs/readme.txt: " + mTree.Path("MORV/projects/game/releases/1.0.0.0/deploy/Docs/readme.txt") +
                      ": ends at byte 2 and should go on to byte 8");
}

TEST_F(MorvReadTest, CatTellsWhereADamagedFileLies)
{
    mTree.Write("MORV/projects/game/filearchives/1.0.0.0/lzma-0001.vka.dat", "damaged, and far too short");
    ExpectRefused({"cat", "text.l"},
                  "text.l: " + mTree.Path("MORV/projects/game/filearchives/1.0.0.0/lzma-0001.vka.dat"));
}

TEST_F(MorvReadTest, AFullStandardOutputIsAnError)
{
    const std::string script = "cd " + mTree.Path("MORV/projects/game/releases/1.0.0.0") +
                               " && " KELD_MORV_PROGRAM " cat text.l > /dev/full 2>/dev/null";
    EXPECT_EQ(WEXITSTATUS(std::system(script.c_str())), 2);
}

TEST_F(MorvReadTest, AReaderThatLeavesIsNoError)
{
    const std::string script = "cd " + mTree.Path("MORV/projects/game/releases/1.0.0.0") +
                               " && { " KELD_MORV_PROGRAM
                               " cat text.l text.l; echo $? >status; } 2>error | head -c 1 >/dev/null";
    EXPECT_EQ(std::system(script.c_str()), 0);
    EXPECT_EQ(mTree.Read("MORV/projects/game/releases/1.0.0.0/status"), "0\n");
    EXPECT_EQ(mTree.Read("MORV/projects/game/releases/1.0.0.0/error"), "");
}

TEST_F(MorvReadTest, ANameInBracketsIsTakenAsItIsTyped)
{
    mTree.Write("brackets/[x]", "in brackets");
    mTree.Write("brackets/x", "plain");
    mTree.Write("brackets/[a,b]", "a list?");
    ASSERT_EQ(RunMorv(mTree.Root(), {"pack", "brackets", "--root", "MORV", "--project", "game", "--release", "2.0.0.0"})
                  .exitCode,
              0);
    const std::string release = mTree.Path("MORV/projects/game/releases/2.0.0.0");
    EXPECT_EQ(RunMorv(release, {"cat", "[x]", "x", "[a,b]"}).out, "in bracketsplaina list?");
    EXPECT_EQ(RunMorv(release, {"ls", "[x]"}).out, "[x]\n");
    EXPECT_EQ(RunMorv(release, {"stat", "[x]"}).out.rfind("[x]\n", 0), 0u);
}

TEST_F(MorvReadTest, ADirectoryWithoutANameIsNoWayBackIntoTheOneThatListsIt)
{
    const std::string path = "MORV/projects/game/releases/1.0.0.0/releasemanifest";
    std::string manifest = mTree.Read(path);
    const std::size_t name = manifest.find(std::string("\0docs2\0", 7));
    ASSERT_NE(name, std::string::npos);
    manifest[name + 1] = '/';
    manifest[name + 2] = '/';
    manifest.replace(name + 3, 3, "///");
    mTree.Write(path, manifest);
    EXPECT_EQ(Morv({"find", "--name", "stored.raw"}).out, "stored.raw\n");
    EXPECT_NE(Morv({"tree"}).out.find("directories, 5 files"), std::string::npos);
}

TEST_F(MorvReadTest, CatWorksWithoutAStandardInput)
{
    const std::string script = "cd " + mTree.Path("MORV/projects/game/releases/1.0.0.0") +
                               " && " KELD_MORV_PROGRAM " cat docs/readme.txt managed.bin stored.raw text.z <&- > all";
    ASSERT_EQ(std::system(script.c_str()), 0);
    EXPECT_EQ(mTree.Read("MORV/projects/game/releases/1.0.0.0/all"),
              "read me\n" + std::string("\0\xFF", 2) + "stored" + std::string(2000, 'z'));
}

TEST_F(MorvReadTest, AClosedStandardOutputIsAnError)
{
    const std::string script = "cd " + mTree.Path("MORV/projects/game/releases/1.0.0.0") +
                               " && " KELD_MORV_PROGRAM " cat docs/readme.txt >&- 2>error";
    EXPECT_NE(std::system(script.c_str()), 0);
    EXPECT_EQ(mTree.Read("MORV/projects/game/releases/1.0.0.0/error"),
              "morv: cannot write to standard output: Bad file descriptor\n");
}

TEST_F(MorvReadTest, StatShowsWhereThePlainFilesLie)
{
    const std::string root = mTree.Path("MORV/projects/game/");
    EXPECT_EQ(StatOf("docs/README.txt"), "Docs/readme.txt\n"
                                         "  type             file\n"
                                         "  size             8\n"
                                         "  project          game 1.0.0.0\n"
                                         "  version          1.0.0.0\n"
                                         "  storage          naked\n"
                                         "  file             " +
                                             root +
                                             "releases/1.0.0.0/deploy/Docs/readme.txt\n"
                                             "  stored size      8\n"
                                             "  expected digest  2eb6f3d85c8037648139f3ae51ee5274\n");
    EXPECT_NE(StatOf("managed.bin")
                  .find("  storage          managed\n  file             " + root +
                        "managedfiles/1.0.0.0/managed.bin\n  stored size      2\n"),
              std::string::npos);
}

TEST_F(MorvReadTest, StatShowsArchiveOffsetAndStoredSize)
{
    const std::string archives = mTree.Path("MORV/projects/game/filearchives/1.0.0.0/");
    EXPECT_NE(StatOf("stored.raw")
                  .find("  storage          archive\n  compression      none\n  archive          " + archives +
                        "files-0001.vka.dat\n  offset           0\n  stored size      6\n"),
              std::string::npos);
    EXPECT_NE(StatOf("text.z").find("  compression      zlib\n  archive          " + archives +
                                    "files-0001.vka.dat\n  offset           6\n"),
              std::string::npos);
    EXPECT_NE(StatOf("text.l").find("  size             2000000\n"), std::string::npos);
    EXPECT_NE(StatOf("text.l").find("  compression      lzma\n  archive          " + archives + "lzma-0001.vka.dat\n"),
              std::string::npos);
}

TEST_F(MorvReadTest, StatShowsDirectories)
{
    EXPECT_EQ(StatOf("/"), "/\n  type             directory\n  entries          7\n  project          game 1.0.0.0\n");
    EXPECT_EQ(StatOf("empty"),
              "empty\n  type             directory\n  entries          0\n  project          game 1.0.0.0\n");
    ExpectRefused({"stat", "nothing"}, "nothing: not found");
}

TEST_F(MorvReadTest, StatExplainsAFileThatItsReleaseHasLost)
{
    mTree.Remove("MORV/projects/game/managedfiles/1.0.0.0/managed.bin");
    ExpectRefused({"stat", "managed.bin"}, "managed.bin: is listed by game 1.0.0.0, but the library leaves it out: " +
                                               mTree.Path("MORV/projects/game/managedfiles/1.0.0.0/managed.bin") +
                                               ": is missing");
}

TEST_F(MorvReadTest, InfoCountsFilesByStorageAndTellsWhatIsMissing)
{
    ExpectOutput({"info"}, "root      " + mTree.Path("MORV") +
                               "\nkind      project\nname      game\nversion   1.0.0.0\n"
                               "listings  1, in the order of the search\n"
                               "  1. game 1.0.0.0\n"
                               "     6 files in 4 directories: 2 naked, 1 managed, 3 archived "
                               "(1 stored, 1 zlib, 1 lzma)\n");
    mTree.Remove("MORV/projects/game/managedfiles/1.0.0.0/managed.bin");
    const ToolResult result = Morv({"info"});
    EXPECT_NE(result.out.find("0 managed, 3 archived (1 stored, 1 zlib, 1 lzma), 1 MISSING on disk"),
              std::string::npos);
    EXPECT_EQ(result.exitCode, 1);
    EXPECT_EQ(result.error, "morv: 1 of 6 files are missing and will not be found:\nmorv:   managed.bin: " +
                                mTree.Path("MORV/projects/game/managedfiles/1.0.0.0/managed.bin") + ": is missing\n");
}
} // namespace
} // namespace Keld::Test
