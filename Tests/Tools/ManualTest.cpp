#include "Tools/ToolRun.h"

#include "Support/TempTree.h"

#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Manual/Completer.h"
#include "Tools/morv/Manual/ManualPage.h"
#include "Tools/morv/Manual/ShellWords.h"

#include <CLI/CLI.hpp>

#include <gtest/gtest.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <memory>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

using Words = std::vector<std::string>;

// What a program prints on standard output.
std::string OutputOf(const std::string &command)
{
    std::string output;
    const auto close = [](FILE *stream)
    {
        pclose(stream);
    };
    const std::unique_ptr<FILE, decltype(close)> stream(popen(command.c_str(), "r"), close);
    for (int letter = std::fgetc(stream.get()); letter != EOF; letter = std::fgetc(stream.get()))
    {
        output += static_cast<char>(letter);
    }
    return output;
}

class ManualTest : public testing::Test
{
protected:
    ManualTest() : mApp("Description", "morv"), mCommands(mApp)
    {
        mCommands.AddGlobalOptions();
        Morv::AddAllCommands(mCommands);
        mFacts = Morv::ReadToolFacts(mApp);
        mTree.Write("source/Textures/grass.dds", "grass");
        mTree.Write("source/Textures/Ground Floor/wood.dds", "wood");
        mTree.Write("source/text.txt", "text");
        mTree.Write("source/solo: one.txt", "one");
        for (const char *release : {"1.0.0.0", "1.0.0.1"})
        {
            RunMorv(mTree.Root(), {"pack", "source", "--root", "MORV", "--project", "game", "--release", release});
        }
        RunMorv(mTree.Root(), {"solution", "--root", "MORV", "--name", "suite", "--release", "0.0.1.0", "--project",
                               "game=1.0.0.0:1"});
        mRelease = mTree.Path("MORV/projects/game/releases/1.0.0.0");
    }

    Words Complete(const Words &words) const
    {
        Words candidates;
        for (const Morv::Candidate &candidate : Morv::Complete(mFacts, words).candidates)
        {
            candidates.push_back(candidate.word);
        }
        return candidates;
    }

    // The same through the program that a shell would call.
    Words CompleteIn(const std::string &directory, const Words &words) const
    {
        Words arguments{"complete", "--"};
        arguments.insert(arguments.end(), words.begin(), words.end());
        const ToolResult result = RunMorv(directory, arguments);
        EXPECT_EQ(result.exitCode, 0);
        EXPECT_EQ(result.error, "");
        return CLI::detail::split(result.out.substr(0, result.out.empty() ? 0 : result.out.size() - 1), '\n');
    }

    // Puts the tool where a shell finds it, and writes a script that the shell then runs.
    std::string RunShell(const std::string &shell, const std::string &script)
    {
        fs::create_directories(mTree.Path("bin"));
        if (!fs::exists(mTree.Path("bin/morv")))
        {
            fs::create_symlink(KELD_MORV_PROGRAM, mTree.Path("bin/morv"));
        }
        mTree.Write("script", script);
        return OutputOf("cd '" + mRelease + "' && PATH=" + mTree.Path("bin") + ":$PATH HOME=" + mTree.Root() + " " +
                        shell + " " + mTree.Path("script") + " 2>&1");
    }

    TempTree mTree;
    CLI::App mApp;
    Morv::CommandSet mCommands;
    Morv::ToolFacts mFacts;
    std::string mRelease;
};

TEST_F(ManualTest, EveryCommandHasAPageThatTellsEveryOptionAndFormatsCleanly)
{
    const ToolResult result = RunMorv(mTree.Root(), {"manual", "pages"});
    EXPECT_EQ(result.exitCode, 0) << result.error;
    EXPECT_GT(mFacts.commands.size(), 8U);
    for (const Morv::CommandFacts &command : mFacts.commands)
    {
        const std::string page = mTree.Path("pages/morv-" + command.name + ".1");
        EXPECT_EQ(OutputOf("mandoc -T lint -W warning " + page + " | grep -v 'missing date'"), "");
        const std::string text = OutputOf("mandoc -T ascii " + page + " | col -b");
        for (const Morv::OptionFacts &option : command.options)
        {
            EXPECT_NE(text.find(option.names.back()), std::string::npos) << command.name << option.names.back();
            EXPECT_NE(option.description, "") << command.name << option.names.back();
            EXPECT_FALSE(option.description.ends_with('.')) << command.name << option.names.back();
        }
        EXPECT_NE(text.find("\nEXAMPLES\n"), std::string::npos) << command.name;
        EXPECT_EQ(text.find(".fi\n"), std::string::npos) << command.name;
        const bool takesRoot = text.find("--root DIR") != std::string::npos;
        EXPECT_EQ(text.find("MORV_ROOT\n") != std::string::npos, takesRoot) << command.name;
        EXPECT_FALSE(command.description.ends_with('.')) << command.name;
    }
    EXPECT_EQ(OutputOf("mandoc -T lint -W warning " + mTree.Path("pages/morv.1") + " | grep -v 'missing date'"), "");
}

TEST_F(ManualTest, EveryValueIsOfAKindThatTheCompletionKnows)
{
    for (const Morv::CommandFacts &command : mFacts.commands)
    {
        for (const std::vector<Morv::OptionFacts> &options : {command.options, command.operands})
        {
            for (const Morv::OptionFacts &option : options)
            {
                EXPECT_TRUE(option.value.empty() || Morv::KindOfValue(option) != Morv::ValueKind::Unknown)
                    << command.name << " " << option.value;
            }
        }
    }
}

TEST_F(ManualTest, CommandsAndOptionsCompleteButHiddenOnesDoNot)
{
    EXPECT_EQ(Complete({"pa"}), (Words{"pack"}));
    EXPECT_EQ(Complete({"compl"}), (Words{"completion"}));
    EXPECT_EQ(Complete({"ls", "--col"}), (Words{"--color"}));
    EXPECT_EQ(Complete({"ls", "--direc"}), (Words{"--directory"}));
    EXPECT_EQ(Complete({"ls", "--color", ""}), (Words{"auto", "always", "never"}));
    EXPECT_EQ(Complete({"ls", "--color=al"}), (Words{"--color=always"}));
    EXPECT_EQ(Complete({"pack", "--storage", "a"}), (Words{"archive"}));
    EXPECT_EQ(Complete({"nothing", ""}), (Complete({""})));
    EXPECT_EQ(Complete({"ls", "--", "--color"}), Words());
}

TEST_F(ManualTest, ProjectsAndVersionsComeFromTheTree)
{
    const std::string root = mTree.Path("MORV");
    EXPECT_EQ(Complete({"pack", "--root", root, "--project", ""}), (Words{"game"}));
    EXPECT_EQ(Complete({"pack", "--root=" + root, "--project", "game", "--base", ""}), (Words{"1.0.0.0", "1.0.0.1"}));
    EXPECT_EQ(Complete({"pack", "--root", mTree.Path("nowhere"), "--project", ""}), Words());
}

TEST_F(ManualTest, TheEnvironmentNamesTheTreeOnlyWhereTheCommandTakesItSo)
{
    fs::create_directories(mTree.Path("else/MORV/projects/other/releases/2.0.0.0"));
    mTree.Write("else/MORV/projects/other/releases/2.0.0.0/releasemanifest", "");
    setenv("MORV_ROOT", mTree.Path("else/MORV").c_str(), 1);
    EXPECT_EQ(CompleteIn(mRelease, {"stats", "game/1.0.0.0"}).back(), "game/1.0.0.0");
    EXPECT_EQ(CompleteIn(mRelease, {"info", "-r", "g"}).back(), "game/1.0.0.1");
    EXPECT_EQ(CompleteIn(mRelease, {"info", "-r", "o"}), (Words{":words"}));
    EXPECT_EQ(CompleteIn(mRelease, {"pack", "--project", ""}).back(), "other");
    EXPECT_EQ(CompleteIn(mTree.Root(), {"stats", ""}).back(), "other/2.0.0.0");
    EXPECT_EQ(CompleteIn(mTree.Root(), {"info", "-r", ""}).back(), ":words");
    unsetenv("MORV_ROOT");
}

TEST_F(ManualTest, VirtualPathsCompleteWithoutCaseAndADirectoryAtATime)
{
    EXPECT_EQ(CompleteIn(mRelease, {"cat", ""}), (Words{":paths", "Textures/", "solo: one.txt", "text.txt"}));
    EXPECT_EQ(CompleteIn(mRelease, {"cat", "te"}), (Words{":paths", "Textures/", "text.txt"}));
    EXPECT_EQ(CompleteIn(mRelease, {"cat", "text.txt", "TEXTURES/g"}),
              (Words{":paths", "TEXTURES/Ground Floor/", "TEXTURES/grass.dds"}));
    EXPECT_EQ(CompleteIn(mTree.Root(), {"-C", mRelease, "cat", "tex"}), (Words{":paths", "Textures/", "text.txt"}));
    EXPECT_EQ(CompleteIn(mTree.Root(), {"cat", ""}), (Words{":paths"}));
    EXPECT_EQ(CompleteIn(mRelease, {"cat", "nothing/"}), (Words{":paths"}));
}

TEST_F(ManualTest, WordsOfALineAreSplitAsAShellSplitsThem)
{
    EXPECT_EQ(Morv::SplitShellWords("morv cat a\\ b 'c d' \"e f\"g"), (Words{"morv", "cat", "a b", "c d", "e fg"}));
    EXPECT_EQ(Morv::SplitShellWords("morv ls "), (Words{"morv", "ls", ""}));
    EXPECT_EQ(Morv::SplitShellWords("morv cat 'open qu"), (Words{"morv", "cat", "open qu"}));
    EXPECT_EQ(Morv::SplitShellWords("morv '' "), (Words{"morv", "", ""}));
    EXPECT_EQ(Morv::SplitShellWords("morv back\\"), (Words{"morv", "back\\"}));
}

// Readline is not there in a script, so the function is called as it would call it.
TEST_F(ManualTest, BashCompletes)
{
    const std::string ask = R"(
compopt() { :; }
source <(morv completion bash)
ask() {
    COMP_LINE=$1 COMP_POINT=${#1} COMP_WORDS=($2) COMP_CWORD=$3 COMPREPLY=()
    _morv
    printf '<%s>' "${COMPREPLY[@]}"
    echo
}
ask 'morv cat Textures/' 'morv cat Textures/' 2
ask 'morv cat solo:' 'morv cat solo :' 3
ask 'morv ls --color=a' 'morv ls --color = a' 4
)";
    EXPECT_EQ(RunShell("bash --norc", ask),
              "<Textures/Ground Floor/><Textures/grass.dds>\n< one.txt>\n<auto><always>\n");
}

TEST_F(ManualTest, FishCompletes)
{
    const std::string ask = "morv completion fish | source\n"
                            "complete -C 'morv cat Textures/'\n"
                            "complete -C 'morv pa'\n"
                            "complete -C 'morv ls --color '\n";
    EXPECT_EQ(RunShell("fish --no-config", ask), "Textures/grass.dds\nTextures/Ground Floor/\n"
                                                 "pack\tMake a release of a project from a folder\n"
                                                 "always\nauto\nnever\n");
}

// A shell of its own on a pseudo terminal, in which Tab is pressed for real.
TEST_F(ManualTest, ZshCompletes)
{
    const std::string ask = R"(
zmodload zsh/zpty
TERM=dumb zpty shell zsh -f -i
await() {
    local line
    all=''
    repeat 300; do
        while zpty -r -t shell line; do all+=$line; done
        [[ $all == *$1* ]] && return
        sleep 0.1
    done
}
zpty -w shell 'autoload -Uz compinit && compinit -u -D && source <(morv completion zsh) && echo rea""dy'
await ready
zpty -w -n shell $'morv cat TEXT.\t'
await 'text.txt '
[[ $all == *'text.txt '* ]] && print 'a file with a space behind it'
zpty -w -n shell $'\x15morv cat textu\t'
await 'Textures/'
[[ $all == *'Textures/' ]] && print 'a directory without one'
zpty -d shell
)";
    EXPECT_EQ(RunShell("zsh -f", ask), "a file with a space behind it\na directory without one\n");
}
} // namespace
} // namespace Keld::Test
