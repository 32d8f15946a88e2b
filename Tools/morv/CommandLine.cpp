#include "Tools/morv/CommandLine.h"

#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Terminal.h"

#include <CLI/CLI.hpp>

#include <algorithm>

namespace Keld::Morv
{
namespace
{
constexpr const char *Description =
    "Makes deployed releases of versioned content, and looks into them as a program would that loads the library.";

constexpr const char *Examples = R"(
Examples:
  morv pack art --root /srv/MORV --project client --release 1.0.0.0 --storage archive --compression zlib
  cd /srv/MORV/projects/client/releases/1.0.0.0
  morv info                      what this directory resolves to
  morv ls textures               one directory
  morv cat textures/readme.txt   a file's content
  morv -C /srv/MORV/solutions/suite/releases/0.0.1.0 tree

Exit status: 0 done, 1 not found or refused, 2 the command line is wrong or the system failed.
"morv COMMAND --help" tells about one command.)";

ColorChoice ParseColorChoice(const std::string &word)
{
    return word == "always" ? ColorChoice::Always : word == "never" ? ColorChoice::Never : ColorChoice::Auto;
}

bool IsInBrackets(const std::string &word)
{
    return word.size() > 1 && word.front() == '[' && word.back() == ']';
}

/// The commands, and what was typed for them.
class CommandLine
{
public:
    CommandLine() : mApp(Description, "morv"), mCommands(mApp)
    {
        mApp.footer(Examples);
        mApp.set_version_flag("--version", "morv " KELD_VERSION, "Print the version and exit");
        mApp.fallthrough();
        mApp.require_subcommand(1);
        mCommands.AddGlobalOptions();
        AddPackCommand(mCommands);
        AddSolutionCommand(mCommands);
        AddReadingCommands(mCommands);
    }

    ExitCode Run(int argumentCount, char **arguments)
    {
        try
        {
            mApp.parse(ParserWords(argumentCount, arguments));
        }
        catch (const CLI::Success &help)
        {
            mApp.exit(help);
            FlushOutput();
            return ExitDone;
        }
        catch (const CLI::ParseError &error)
        {
            ExplainUsage(error);
            return ExitUsage;
        }
        ChooseColor(ParseColorChoice(mCommands.GetCommon().color));
        if (mCommands.GetCommon().quiet)
        {
            QuietNotes();
        }
        ShowLibraryLog(mCommands.GetCommon().verbose);
        const ExitCode result = mCommands.RunChosen();
        FlushOutput();
        return result;
    }

private:
    /// What was typed, last word first, as the parser wants it. It takes "[a,b]" for a list where several paths may
    /// stand; behind "./" it is the path that it was.
    std::vector<std::string> ParserWords(int argumentCount, char **arguments) const
    {
        std::vector<std::string> words(arguments + 1, arguments + std::max(argumentCount, 1));
        const auto isCommand = [this](const std::string &word)
        {
            const auto hasName = [&word](const CLI::App *command)
            {
                return command->get_name() == word;
            };
            return !mApp.get_subcommands(hasName).empty();
        };
        const auto command = std::find_if(words.begin(), words.end(), isCommand);
        const bool takesPaths = command != words.end() && (*command == "ls" || *command == "cat" || *command == "stat");
        for (auto word = command; takesPaths && word != words.end(); ++word)
        {
            word->insert(0, IsInBrackets(*word) ? "./" : "");
        }
        std::reverse(words.begin(), words.end());
        return words;
    }

    void ExplainUsage(const CLI::ParseError &error) const
    {
        const std::vector<CLI::App *> commands = mApp.get_subcommands();
        const std::vector<std::string> unknown = mApp.remaining();
        const bool lacksCommand = commands.empty() && error.get_name() == "RequiredError";
        if (lacksCommand && !unknown.empty())
        {
            PrintError("\"" + unknown.front() + "\" is no " + (unknown.front()[0] == '-' ? "option" : "command"));
        }
        else
        {
            PrintError(lacksCommand ? "a command is missing" : error.what());
        }
        PrintError("try \"morv " + (commands.empty() ? "" : commands.front()->get_name() + " ") + "--help\"");
    }

    CLI::App mApp;
    CommandSet mCommands;
};
} // namespace

ExitCode RunCommandLine(int argumentCount, char **arguments)
{
    return CommandLine().Run(argumentCount, arguments);
}
} // namespace Keld::Morv
