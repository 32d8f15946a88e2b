#include "Tools/morv/CommandLine.h"

#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/HelpFormatter.h"
#include "Tools/morv/OptionChecks.h"
#include "Tools/morv/Terminal.h"

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

Exit status: 0 good, 1 the answer is no (not found, damaged), 2 the command line is wrong or something hinders it.
"morv COMMAND --help" tells about one command.)";

ColorChoice ParseColorChoice(const std::string &word)
{
    return word == "always" ? ColorChoice::Always : word == "never" ? ColorChoice::Never : ColorChoice::Auto;
}

// The parser takes "[a,b]" for a list where several words may stand. A word that begins with a NUL, which nobody can
// type, is none; the mark goes before anybody sees the word.
constexpr char WordMark = '\0';

void MarkBrackets(std::string &word)
{
    const bool inBrackets = word.size() > 1 && word.front() == '[' && word.back() == ']';
    word.insert(0, inBrackets ? 1 : 0, WordMark);
}

std::string WithoutMarks(std::string text)
{
    text.erase(std::remove(text.begin(), text.end(), WordMark), text.end());
    return text;
}

void CheckValuesOf(CLI::App &command)
{
    for (CLI::Option *option : command.get_options())
    {
        if (option->get_items_expected_max() > 0)
        {
            option->transform(WithoutMarks);
            if (!option->get_positional())
            {
                option->check(NotEmpty());
            }
        }
    }
}

bool IsAny(const CLI::App *)
{
    return true;
}

// The commands, and what was typed for them.
class CommandLine
{
public:
    CommandLine() : mApp(Description, "morv"), mCommands(mApp)
    {
        mApp.formatter(MakeHelpFormatter()); // before the commands, which take it over
        mApp.footer(Examples);
        mApp.set_version_flag("--version", "morv " KELD_VERSION, "Print the version and exit");
        mApp.fallthrough();
        mApp.require_subcommand(1);
        mCommands.AddGlobalOptions();
        AddAllCommands(mCommands);
        for (CLI::App *command : mApp.get_subcommands(IsAny))
        {
            CheckValuesOf(*command);
        }
        CheckValuesOf(mApp);
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
        return RunChosen();
    }

private:
    ExitCode RunChosen() const
    {
        try
        {
            const ExitCode result = mCommands.RunChosen();
            FlushOutput();
            return result;
        }
        catch (const UsageError &error)
        {
            PrintError(error.what());
            PrintError("try \"" + HelpCall() + "\"");
            return ExitUsage;
        }
    }

    std::string HelpCall() const
    {
        const std::vector<CLI::App *> commands = mApp.get_subcommands();
        return "morv " + (commands.empty() ? "" : commands.front()->get_name() + " ") + "--help";
    }

    // What was typed, last word first, as the parser wants it.
    static std::vector<std::string> ParserWords(int argumentCount, char **arguments)
    {
        std::vector<std::string> words(arguments + 1, arguments + std::max(argumentCount, 1));
        std::for_each(words.begin(), words.end(), MarkBrackets);
        std::reverse(words.begin(), words.end());
        return words;
    }

    void ExplainUsage(const CLI::ParseError &error) const
    {
        const std::vector<std::string> unknown = mApp.remaining();
        const bool lacksCommand = mApp.get_subcommands().empty() && error.get_name() == "RequiredError";
        if (lacksCommand && !unknown.empty())
        {
            const std::string word = WithoutMarks(unknown.front());
            PrintError("\"" + word + "\" is no " + (word.starts_with('-') ? "option" : "command"));
        }
        else
        {
            PrintError(lacksCommand ? "a command is missing" : WithoutMarks(error.what()));
            ExplainPlace(unknown);
        }
        PrintError("try \"" + HelpCall() + "\"");
    }

    // Some options may stand in front of the command, which others of it cannot.
    void ExplainPlace(const std::vector<std::string> &unknown) const
    {
        const std::vector<CLI::App *> commands = mApp.get_subcommands();
        for (const std::string &word : unknown)
        {
            const std::string name = word.substr(0, word.find('='));
            if (!commands.empty() && name.starts_with('-') && commands.front()->get_option_no_throw(name) != nullptr)
            {
                PrintError(name + " goes behind \"" + commands.front()->get_name() + "\"");
            }
        }
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
