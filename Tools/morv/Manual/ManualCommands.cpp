#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Manual/Completer.h"
#include "Tools/morv/Manual/CompletionScripts.h"
#include "Tools/morv/Manual/ManualPage.h"
#include "Tools/morv/Manual/ShellWords.h"

#include <CLI/CLI.hpp>

#include <filesystem>
#include <fstream>
#include <memory>
#include <stdexcept>

namespace Keld::Morv
{
namespace
{
constexpr const char *CompletionFooter = R"(
Options, commands, and of the tree that you work in its projects, releases and virtual paths complete by Tab.

Examples:
  source <(morv completion bash)           # bash, in this shell; or in ~/.bashrc
  source <(morv completion zsh)            # zsh, behind compinit
  morv completion fish | source            # fish
An installed morv has these files where the shells look for them.)";

// For programs: no group, so that no help shows them.
constexpr const char *Hidden = "";

const char *MarkOf(Completion kind)
{
    switch (kind)
    {
    case Completion::Paths:
        return ":paths\n";
    case Completion::Files:
        return ":files\n";
    case Completion::Directories:
        return ":directories\n";
    case Completion::Words:
        break;
    }
    return ":words\n";
}

bool HasControlCharacter(const std::string &word)
{
    for (const char letter : word)
    {
        if (static_cast<unsigned char>(letter) < ' ' || letter == '\x7F')
        {
            return true;
        }
    }
    return false;
}

// How much of a word the shell keeps: all up to the last character at which it breaks words.
std::size_t KeptLength(const std::string &word, const std::string &breaks)
{
    const std::size_t place = word.find_last_of(breaks);
    return place == std::string::npos ? 0 : place + 1;
}

struct CompleteOptions
{
    std::string line;
    std::string breaks;
    std::vector<std::string> words;
};

ExitCode PrintCompletions(const ToolFacts &facts, const CompleteOptions &options)
{
    std::vector<std::string> words = options.words;
    if (!options.line.empty())
    {
        words = SplitShellWords(options.line);
        words.erase(words.begin());
    }
    const std::string word = words.empty() ? "" : words.back();
    // Of the characters that break words, these alone stand inside words of ours.
    const std::size_t kept =
        KeptLength(word, options.breaks.find_first_of(":=") == std::string::npos ? "" : options.breaks);
    const Completions completions = Complete(facts, words);
    WriteOutput(MarkOf(completions.kind));
    for (const Candidate &candidate : completions.candidates)
    {
        if (!HasControlCharacter(candidate.word))
        {
            WriteOutput(candidate.word.substr(kept) +
                        (candidate.description.empty() ? "" : "\t" + candidate.description) + "\n");
        }
    }
    return ExitDone;
}

void WritePage(const std::string &path, const std::string &page)
{
    std::ofstream stream(path, std::ios::binary);
    if (!(stream << page << std::flush))
    {
        throw std::runtime_error(path + ": cannot be written");
    }
}

ExitCode WritePages(const ToolFacts &facts, const std::string &directory)
{
    std::filesystem::create_directories(directory);
    WritePage(directory + "/morv.1", WriteToolPage(facts));
    for (const CommandFacts &command : facts.commands)
    {
        WritePage(directory + "/morv-" + command.name + ".1", WriteCommandPage(facts, command));
    }
    return ExitDone;
}

void AddCompletionCommand(CommandSet &commands)
{
    const auto shell = std::make_shared<std::string>();
    CLI::App &command =
        commands.Add({"completion", "Print what makes a shell complete command lines of morv", CompletionFooter},
                     [shell]
                     {
                         WriteOutput(GetCompletionScript(*shell));
                         return ExitDone;
                     });
    command.add_option("SHELL", *shell, "bash, zsh or fish")->required()->check(CLI::IsMember({"bash", "zsh", "fish"}));
}

void AddCompleteCommand(CommandSet &commands)
{
    const auto options = std::make_shared<CompleteOptions>();
    CLI::App &command = commands.Add({"complete", "Say what can stand behind the words typed so far", ""},
                                     [&commands, options]
                                     {
                                         return PrintCompletions(ReadToolFacts(commands.GetApp()), *options);
                                     });
    command.group(Hidden);
    command.add_option("--line", options->line, "The whole line up to the cursor, instead of words")->type_name("LINE");
    command.add_option("--breaks", options->breaks, "Where the shell breaks words")->type_name("CHARACTERS");
    command.add_option("WORD", options->words, "What stands behind the tool's name; the last one is being typed");
}

void AddManualCommand(CommandSet &commands)
{
    const auto directory = std::make_shared<std::string>();
    CLI::App &command = commands.Add({"manual", "Write the manual pages into a directory", ""},
                                     [&commands, directory]
                                     {
                                         return WritePages(ReadToolFacts(commands.GetApp()), *directory);
                                     });
    command.group(Hidden);
    command.add_option("DIR", *directory, "Made when it is not there")->required();
}
} // namespace

void AddManualCommands(CommandSet &commands)
{
    AddCompletionCommand(commands);
    AddCompleteCommand(commands);
    AddManualCommand(commands);
}
} // namespace Keld::Morv
