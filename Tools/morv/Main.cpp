#include "Tools/TreeReader/TreeError.h"
#include "Tools/morv/Commands.h"

#include <CLI/CLI.hpp>

#include <exception>
#include <filesystem>

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

ExitCode Run(int argumentCount, char **arguments)
{
    CLI::App app(Description, "morv");
    app.footer(Examples);
    GlobalOptions options;
    Command chosen;
    app.add_option("-C,--directory", options.workingDirectory,
                   "Work in this directory of a release instead of the current one")
        ->type_name("DIR");
    app.add_flag("-v,--verbose", options.verbose, "Show all that the library logs");
    app.fallthrough();
    app.require_subcommand(1);
    AddPackCommand(app, options, chosen);
    AddSolutionCommand(app, options, chosen);
    AddInfoCommand(app, options, chosen);
    AddListCommand(app, options, chosen);
    AddTreeCommand(app, options, chosen);
    AddFindCommand(app, options, chosen);
    AddCatCommand(app, options, chosen);
    AddStatCommand(app, options, chosen);
    try
    {
        app.parse(argumentCount, arguments);
    }
    catch (const CLI::Success &help)
    {
        app.exit(help);
        FlushOutput();
        return ExitDone;
    }
    catch (const CLI::ParseError &error)
    {
        PrintError(error.what());
        PrintError("try \"morv --help\", or \"morv COMMAND --help\"");
        return ExitUsage;
    }
    ShowLibraryLog(options.verbose);
    const ExitCode result = chosen();
    FlushOutput();
    return result;
}
} // namespace

std::string GlobalOptions::ResolvedDirectory() const
{
    return std::filesystem::weakly_canonical(std::filesystem::absolute(workingDirectory)).string();
}
} // namespace Keld::Morv

int main(int argumentCount, char **arguments)
{
    try
    {
        return Keld::Morv::Run(argumentCount, arguments);
    }
    catch (const std::exception &error)
    {
        std::fflush(stdout);
        Keld::Morv::PrintError(error.what());
        return Keld::Morv::ExitRefused;
    }
}
