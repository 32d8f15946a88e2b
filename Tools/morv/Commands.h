#pragma once

#include "Tools/morv/Console.h"

#include <functional>
#include <string>

namespace CLI
{
class App;
}

namespace Keld::Morv
{
/// What stands before the command on the command line.
struct GlobalOptions
{
    std::string workingDirectory = ".";
    bool verbose = false;

    /// The working directory as the library wants it: absolute, without symbolic links.
    std::string ResolvedDirectory() const;
};

/// A command that the command line asked for, to be run once all of it is understood. Gives the exit code.
using Command = std::function<ExitCode()>;

// Each adds one command to the command line, with its help, and sets `chosen` when it is the one that was typed.
void AddPackCommand(CLI::App &app, const GlobalOptions &options, Command &chosen);
void AddSolutionCommand(CLI::App &app, const GlobalOptions &options, Command &chosen);
void AddInfoCommand(CLI::App &app, const GlobalOptions &options, Command &chosen);
void AddListCommand(CLI::App &app, const GlobalOptions &options, Command &chosen);
void AddTreeCommand(CLI::App &app, const GlobalOptions &options, Command &chosen);
void AddFindCommand(CLI::App &app, const GlobalOptions &options, Command &chosen);
void AddCatCommand(CLI::App &app, const GlobalOptions &options, Command &chosen);
void AddStatCommand(CLI::App &app, const GlobalOptions &options, Command &chosen);
} // namespace Keld::Morv
