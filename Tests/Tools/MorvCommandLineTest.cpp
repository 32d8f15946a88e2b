#include "Tools/ToolRun.h"

#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cstdlib>

namespace Keld::Test
{
namespace
{
TEST(MorvCommandLineTest, HelpGoesToStandardOutputAndTeachesByExample)
{
    const ToolResult result = RunMorv("/", {"--help"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_NE(result.out.find("\nExamples:\n  morv pack"), std::string::npos) << result.out;
    EXPECT_EQ(result.error, "");
}

TEST(MorvCommandLineTest, WhatCannotBeUnderstoodIsAUsageError)
{
    const std::vector<std::vector<std::string>> commandLines{
        {},
        {"unknown"},
        {"--unknown"},
        {"cat"},
        {"stat"},
        {"ls", "--unknown"},
        {"find", "--type", "x"},
        {"find", "--name", "a/b"},
        {"find", "--name", ".."},
        {"find", "--glob", "a["},
        {"find", "--size", "big"},
        {"find", "--size", "1T"},
        {"find", "--storage", "box"},
        {"find", "--storage", "naked:zlib"},
        {"find", "--version-of", "1.0"},
        {"find", "--storage", "naked", "--through-library"},
        {"find", "--name", ""},
        {"find", "--glob", ""},
        {"find", "--size", ""},
        {"ls", "-r", ""},
        {"-C", "", "ls"},
        {"apply", "bundle", "--signed", ""},
        {"publish", "client/1.0.0.0", "--sign", ""},
        {"cat", "x", "--offset", "-1"},
        {"cat", "x", "--offset", "1K"},
        {"cat", "x", "--length", "99999999999999999999"},
        {"du", "-d", "x"},
        {"cat", "x", "--length", "x"},
        {"stat", "x", "-j", "0"},
        {"ls", "--color", "blue"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--unknown"},
        {"pack"},
        {"pack", "a", "--root", "MORV", "--project", "p"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.256"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--storage", "box"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--compression", "zip"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--compression", "zlib"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--rule", "*.txt"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--rule", "=naked"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--rule", "*=naked:zlib"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--rule", "*=archive:zip"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--archive-size", "0"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--archive-size", "5T"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--archive-size", "4G"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--base", "x"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--level", "13"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--links", "copy"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--exclude", "a["},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--rule", "a/=naked"},
        {"pack", "a", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "-j", "0"},
        {"pack", "-", "--root", "MORV", "--project", "p", "--release", "1.0.0.0", "--dry-run"},
        {"solution", "--root", "MORV", "--name", "s", "--release", "1.0.0.0"},
        {"solution", "--root", "MORV", "--name", "s", "--release", "1", "--project", "a=1.0.0.0:1"},
        {"solution", "--root", "MORV", "--name", "s", "--release", "1.0.0.0", "--project", "a"},
        {"solution", "--root", "MORV", "--name", "s", "--release", "1.0.0.0", "--project", "a=1.0.0.0"},
        {"solution", "--root", "MORV", "--name", "s", "--release", "1.0.0.0", "--project", "a=1.0.0.0:-1"},
        {"solution", "--root", "MORV", "--name", "s", "--release", "1.0.0.0", "--project", "a=1.0.0.0:1x"},
        {"solution", "--root", "MORV", "--name", "s", "--release", "1.0.0.0", "--project", "a=1.0.0.0:1",
         "--configuration", "=a"},
    };
    const TempTree tree;
    for (const std::vector<std::string> &arguments : commandLines)
    {
        const ToolResult result = RunMorv(tree.Root(), arguments);
        EXPECT_EQ(result.exitCode, 2) << testing::PrintToString(arguments) << result.error;
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.error.find("--help\""), std::string::npos) << result.error;
    }
    EXPECT_FALSE(tree.Exists("MORV"));
}

TEST(MorvCommandLineTest, AUsageErrorNamesTheWordAndTheHelpThatExplainsIt)
{
    const std::pair<std::vector<std::string>, std::string> cases[] = {
        {{}, "morv: a command is missing\nmorv: try \"morv --help\"\n"},
        {{"-v", "unpack", "x"}, "morv: \"unpack\" is no command\nmorv: try \"morv --help\"\n"},
        {{"--lst"}, "morv: \"--lst\" is no option\nmorv: try \"morv --help\"\n"},
        {{"ls", "-C"}, "morv: --directory: 1 required DIR missing\nmorv: try \"morv ls --help\"\n"},
        {{"cat"}, "morv: PATH is required\nmorv: try \"morv cat --help\"\n"},
        {{"[x]"}, "morv: \"[x]\" is no command\nmorv: try \"morv --help\"\n"},
    };
    for (const auto &[arguments, error] : cases)
    {
        EXPECT_EQ(RunMorv("/", arguments).error, error);
    }
}

TEST(MorvCommandLineTest, AValueThatIsNoneOrNoNumberIsToldInAFewWords)
{
    const auto told = [](const std::vector<std::string> &words)
    {
        const std::string error = RunMorv("/", words).error;
        return error.substr(0, error.find('\n'));
    };
    EXPECT_EQ(told({"find", "--glob", ""}), "morv: --glob: has an empty value");
    EXPECT_EQ(told({"cat", "x", "--offset", "1K"}), "morv: --offset: \"1K\" is no whole number, in decimal digits");
    EXPECT_EQ(told({"cat", "x", "--length", "99999999999999999999"}),
              "morv: --length: \"99999999999999999999\" is no whole number of 64 bits");
}

TEST(MorvCommandLineTest, AnOptionInFrontOfItsCommandIsSentBehindIt)
{
    const ToolResult result = RunMorv("/", {"--json", "ls"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_NE(result.error.find("morv: --json goes behind \"ls\"\n"), std::string::npos) << result.error;
}

TEST(MorvCommandLineTest, TellsItsVersion)
{
    const ToolResult result = RunMorv("/", {"--version"});
    EXPECT_EQ(result.exitCode, 0);
    EXPECT_EQ(result.out.rfind("morv ", 0), 0u) << result.out;
    EXPECT_EQ(result.error, "");
}

TEST(MorvCommandLineTest, OutsideOfAReleaseEveryReadingCommandSaysWhereToGo)
{
    const TempTree tree;
    for (const std::vector<std::string> &arguments :
         std::vector<std::vector<std::string>>{{"ls"}, {"tree"}, {"find"}, {"info"}, {"cat", "x"}, {"stat", "x"}})
    {
        const ToolResult result = RunMorv(tree.Root(), arguments);
        EXPECT_EQ(result.exitCode, 2) << arguments[0];
        EXPECT_EQ(result.out, "");
        EXPECT_NE(result.error.find("lies in no release: change to ROOT/MORV/projects"), std::string::npos);
    }
}

TEST(MorvCommandLineTest, AReleaseWithoutAManifestIsNamed)
{
    const TempTree tree;
    const std::string release = tree.MakeDirectory("MORV/projects/game/releases/1.0.0.0");
    const ToolResult result = RunMorv(release, {"ls"});
    EXPECT_EQ(result.exitCode, 2);
    EXPECT_NE(result.error.find("there is no release 1.0.0.0 of the project game"), std::string::npos);
}

TEST(MorvCommandLineTest, AClosedPipeIsNoError)
{
    const TempTree tree;
    const std::string script =
        "cd " + tree.Root() + "; (sleep 0.2; " KELD_MORV_PROGRAM " --help 2>error; echo $? >status) | true; sleep 0.3";
    ASSERT_EQ(std::system(script.c_str()), 0);
    EXPECT_EQ(tree.Read("status"), "0\n");
    EXPECT_EQ(tree.Read("error"), "");
}

TEST(MorvCommandLineTest, OptionsOfEveryCommandStandBeforeItsNameOrBehindIt)
{
    const TempTree tree;
    for (const std::vector<std::string> &arguments : std::vector<std::vector<std::string>>{
             {"--color", "always", "ls"}, {"ls", "--color", "always"}, {"-q", "ls", "--color=always"}})
    {
        const ToolResult result = RunMorv(tree.Root(), arguments);
        EXPECT_EQ(result.exitCode, 2);
        EXPECT_NE(result.error.find("\x1b[1;31mmorv:\x1b[0m "), std::string::npos) << result.error;
    }
    EXPECT_EQ(RunMorv(tree.Root(), {"ls", "--color", "red"}).exitCode, 2);
    EXPECT_EQ(RunMorv(tree.Root(), {"completion", "bash", "--json"}).exitCode, 2);
}

TEST(MorvCommandLineTest, AWorkingDirectoryThatCannotBeEnteredIsNamedWithTheCause)
{
    const TempTree tree;
    tree.Write("file", "");
    EXPECT_EQ(RunMorv(tree.Root(), {"-C", "nowhere", "ls"}).error,
              "morv: nowhere: cannot work there: No such file or directory\n");
    EXPECT_EQ(RunMorv(tree.Root(), {"-C", "file", "ls"}).error, "morv: file: cannot work there: Not a directory\n");
    EXPECT_EQ(RunMorv(tree.Root(), {"-C", "file", "ls"}).exitCode, 2);
}

TEST(MorvCommandLineTest, VerboseShowsWhatTheLibraryLogs)
{
    const TempTree tree;
    const std::string release = tree.MakeDirectory("MORV/projects/game/releases/1.0.0.0");
    const ToolResult quiet = RunMorv(release, {"ls", "--through-library"});
    const ToolResult verbose = RunMorv(release, {"-v", "ls", "--through-library"});
    const std::string progress = "MORV library initializing with specified working directory";
    EXPECT_EQ(quiet.error.find(progress), std::string::npos);
    EXPECT_NE(verbose.error.find(progress), std::string::npos);
}
} // namespace
} // namespace Keld::Test
