#include "Tools/morv/CommandLine.h"

#include "Tools/morv/Commands.h"

#include <CLI/CLI.hpp>

#include <algorithm>
#include <filesystem>
#include <functional>

// The one unit that knows the option parser, whose header is costly to compile.
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

Exit status: 0 done, 1 not found or refused, 2 the command line is wrong.
"morv COMMAND --help" tells about one command.)";

constexpr const char *PackFooter = R"(
Storage:
  naked     plain files in the release's own directory
  managed   plain files by version: a later release can go on serving them
  archive   many files in one: the usual way; with --compression none, zlib or lzma

An lzma file gets an archive of its own, since its first open closes the archive for all that share it. A program
should open such a file once and keep it open: after the last close it cannot be opened again until a new start.
A file is compressed in memory, whole. Where that saves nothing the file is stored as it is. Empty files cannot have an
archive to themselves; where there is no other they become managed.

A GLOB without / is held against names, one with / against whole paths; the first rule that matches decides.

A delta release (--base) stores what is new or changed. Everything else is served from where the base has it, so the
files of the base must stay.

Examples:
  morv pack art --root /srv/MORV --project client --release 1.0.0.0
  morv pack art --root /srv/MORV --project client --release 1.0.0.0 --storage archive --compression zlib \
      --rule '*.ogg=archive:none' --rule 'config/*=naked'
  morv pack art --root /srv/MORV --project client --release 1.0.0.1 --base 1.0.0.0 --storage archive)";

std::string RefuseSeparators(const std::string &pattern)
{
    return pattern.find_first_of("/\\") == std::string::npos ? "" : "a pattern is for names and has no separator";
}

bool IsInBrackets(const std::string &word)
{
    return word.size() > 1 && word.front() == '[' && word.back() == ']';
}

/// The commands with their options and help, and what was typed for them.
class CommandLine
{
public:
    CommandLine() : mApp(Description, "morv")
    {
        mApp.footer(Examples);
        mApp.add_option("-C,--directory", mDirectory, "Work in this directory of a release instead of the current one")
            ->type_name("DIR");
        mApp.add_flag("-v,--verbose", mVerbose, "Show all that the library logs");
        mApp.set_version_flag("--version", "morv " KELD_VERSION, "Print the version and exit");
        mApp.fallthrough();
        mApp.require_subcommand(1);
        AddPackCommand();
        AddSolutionCommand();
        AddInfoCommand();
        AddListCommand();
        AddTreeCommand();
        AddFindCommand();
        AddCatCommand();
        AddStatCommand();
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
        ShowLibraryLog(mVerbose);
        const ExitCode result = mCommand();
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

    std::string ResolvedDirectory() const
    {
        return std::filesystem::weakly_canonical(std::filesystem::absolute(mDirectory)).string();
    }

    void AddPackCommand()
    {
        CLI::App *command = mApp.add_subcommand("pack", "Make a release of a project from a folder");
        command->add_option("SOURCE", mPack.source, "The folder to pack")->required();
        command->add_option("--root", mPack.root, "The deployment tree, a directory named MORV")
            ->type_name("DIR")
            ->required();
        command->add_option("--project", mPack.project, "The project's name")->type_name("NAME")->required();
        command->add_option("--release", mPack.release, "The release to make, as in 1.0.0.0")
            ->type_name("VERSION")
            ->required();
        command->add_option("--storage", mPack.storage, "naked (the default), managed or archive")
            ->type_name("STORAGE");
        command->add_option("--compression", mPack.compression, "For archives: none (the default), zlib or lzma")
            ->type_name("METHOD");
        command->add_option("--rule", mPack.rules, "Another storage for files that match; may be given several times")
            ->type_name("GLOB=STORAGE[:METHOD]")
            ->allow_extra_args(false);
        command->add_option("--archive-size", mPack.archiveSize, "Start a new archive beyond this size (default 1G)")
            ->type_name("BYTES");
        command->add_option("--base", mPack.base, "Store only what differs from this earlier release")
            ->type_name("VERSION");
        command->add_flag("--force", mPack.force, "Replace a release that is already there");
        command->add_flag("--compress-always", mPack.compressAlways, "Compress also where that saves nothing");
        command->footer(PackFooter);
        command->callback(
            [this]
            {
                mCommand = [this]
                {
                    return Pack(mPack);
                };
            });
    }

    void AddSolutionCommand()
    {
        CLI::App *command = mApp.add_subcommand("solution", "Bind releases of several projects into one file system");
        command->add_option("--root", mSolution.root, "The deployment tree, a directory named MORV")
            ->type_name("DIR")
            ->required();
        command->add_option("--name", mSolution.name, "The solution's name")->type_name("NAME")->required();
        command->add_option("--release", mSolution.release, "The solution's release, as in 0.0.1.0")
            ->type_name("VERSION")
            ->required();
        command
            ->add_option("--project", mSolution.projects,
                         "A project; the higher its priority, the earlier it is searched")
            ->type_name("NAME=VERSION:PRIORITY")
            ->allow_extra_args(false)
            ->required();
        command->add_option("--configuration", mSolution.configurations, "A named set of the projects")
            ->type_name("NAME=PROJECT,...")
            ->allow_extra_args(false);
        command
            ->add_option("--use", mSolution.use,
                         "The projects in use here; without it those of the first configuration, or all")
            ->type_name("PROJECT,...");
        command->add_flag("--force", mSolution.force, "Replace a release of the solution that is already there");
        command->footer(
            "\nWhere projects hold the same path, the one with the highest priority wins.\n"
            "\nExample:\n"
            "  morv solution --root /srv/MORV --name suite --release 0.0.1.0 --project client=1.0.0.7:10 \\\n"
            "      --project data=1.2.0.3:20 --configuration default=client,data --use client,data");
        command->callback(
            [this]
            {
                mCommand = [this]
                {
                    return MakeSolution(mSolution);
                };
            });
    }

    void AddInfoCommand()
    {
        CLI::App *command = mApp.add_subcommand("info", "Show what the working directory resolves to");
        command->footer(
            "\nShows the tree's root, whether this is a project or a solution, its name and version, and the\n"
            "project releases behind the file system in the order in which they are searched.\n"
            "\nExample:\n"
            "  morv -C /srv/MORV/solutions/suite/releases/0.0.1.0 info");
        command->callback(
            [this]
            {
                mCommand = [this]
                {
                    return Info(ResolvedDirectory());
                };
            });
    }

    void AddListCommand()
    {
        CLI::App *command = mApp.add_subcommand("ls", "List directories, subdirectories first");
        command->add_option("PATH", mList.paths, "Virtual paths; without one, the root");
        command->add_flag("-l,--long", mList.details, "Show sizes in bytes");
        command->footer("\nExamples:\n"
                        "  morv ls\n"
                        "  morv ls -l textures");
        command->callback(
            [this]
            {
                mCommand = [this]
                {
                    return List(ResolvedDirectory(), mList);
                };
            });
    }

    void AddTreeCommand()
    {
        CLI::App *command = mApp.add_subcommand("tree", "Draw a directory and all below it");
        command->add_option("PATH", mTreePath, "Virtual path of a directory; without one, the root");
        command->footer("\nExamples:\n"
                        "  morv tree\n"
                        "  morv -C /srv/MORV/projects/client/releases/1.0.0.0 tree textures");
        command->callback(
            [this]
            {
                mCommand = [this]
                {
                    return Tree(ResolvedDirectory(), mTreePath);
                };
            });
    }

    void AddFindCommand()
    {
        CLI::App *command = mApp.add_subcommand("find", "Find files and directories by name, at any depth");
        command->add_option("PATH", mFind.path, "Virtual path of the directory to begin in; without one, the root");
        command->add_option("-n,--name", mFind.pattern, "What names must match, in the library's own wildcards")
            ->type_name("PATTERN")
            ->check(RefuseSeparators);
        command->add_option("-t,--type", mFind.type, "f for files alone, d for directories alone")
            ->type_name("f|d")
            ->check(CLI::IsMember({"f", "d"}));
        command->add_flag("-0,--null", mFind.endWithNul, "End each path with a NUL instead of a line end");
        command->footer(
            "\nIn a pattern * is any run of characters, ? is one, and . is a dot or the end of the name; case\n"
            "does not count. It is matched in one pass without trying again: *.dds does not match a.b.dds.\n"
            "\nExamples:\n"
            "  morv find --name '*.txt'\n"
            "  morv find textures --type d\n"
            "  morv find -0 --type f | xargs -0 morv cat");
        command->callback(
            [this]
            {
                mCommand = [this]
                {
                    return Find(ResolvedDirectory(), mFind);
                };
            });
    }

    void AddCatCommand()
    {
        CLI::App *command = mApp.add_subcommand("cat", "Write the content of files to standard output");
        command->add_option("PATH", mPaths, "Virtual paths of files; case does not count")->required();
        command->footer("\nExamples:\n"
                        "  morv cat docs/readme.txt\n"
                        "  morv cat textures/sky.dds > sky.dds");
        command->callback(
            [this]
            {
                mCommand = [this]
                {
                    return Cat(ResolvedDirectory(), mPaths);
                };
            });
    }

    void AddStatCommand()
    {
        CLI::App *command = mApp.add_subcommand("stat", "Show what a path is and where its bytes lie");
        command->add_option("PATH", mPaths, "Virtual paths; / is the root")->required();
        command->footer(
            "\nShows size, project, the version that stored the file, storage, compression, place on disk,\n"
            "stored size and the MD5 digest of the content. In a solution it is the file that wins.\n"
            "\nExample:\n"
            "  morv stat textures/sky.dds");
        command->callback(
            [this]
            {
                mCommand = [this]
                {
                    return Stat(ResolvedDirectory(), mPaths);
                };
            });
    }

    CLI::App mApp;
    std::string mDirectory = ".";
    bool mVerbose = false;
    PackOptions mPack;
    SolutionOptions mSolution;
    ListOptions mList;
    FindOptions mFind;
    std::string mTreePath;
    std::vector<std::string> mPaths;
    std::function<ExitCode()> mCommand; ///< what the command line asked for
};
} // namespace

ExitCode RunCommandLine(int argumentCount, char **arguments)
{
    return CommandLine().Run(argumentCount, arguments);
}
} // namespace Keld::Morv
