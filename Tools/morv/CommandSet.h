#pragma once

#include "Tools/morv/Console.h"

#include <functional>
#include <stdexcept>
#include <string>

namespace CLI
{
class App;
}

namespace Keld::Morv
{
/// What the command line says wrongly, in words that say how to say it. The command ends with ExitUsage.
class UsageError : public std::runtime_error
{
public:
    using std::runtime_error::runtime_error;
};

/// What every command understands, before its name and behind it.
struct CommonOptions
{
    std::string directory = ".";
    bool verbose = false;
    bool quiet = false;
    std::string color = "auto";
    bool json = false; ///< for commands that write a document
    unsigned jobs = 0; ///< for commands that work on several threads; 0 stands for one per processor

    /// The working directory: absolute, without symbolic links. Throws TreeError when it is not there, is no directory
    /// or cannot be entered.
    std::string GetDirectory() const;

    unsigned GetThreadCount() const;
};

/// How a command presents itself.
struct CommandWords
{
    std::string name;
    std::string description; ///< one line
    std::string footer;      ///< the rest of the help, with examples
    bool writesJson = false;
    bool usesThreads = false;
};

/// The commands of the tool. Each unit that knows some adds them, together with the options that are theirs alone.
class CommandSet
{
public:
    explicit CommandSet(CLI::App &app) : mApp(app) {}

    /// Adds a command and the options that all have. When it is what the command line asks for, `run` is called after
    /// everything is parsed. It gives ExitDone, or ExitNo where that is the answer; what hinders it is an exception,
    /// which is printed and ends the tool with ExitUsage or ExitTrouble.
    CLI::App &Add(const CommandWords &words, std::function<ExitCode()> run);

    CLI::App &GetApp() { return mApp; }
    const CommonOptions &GetCommon() const { return mCommon; }

    /// The options of CommonOptions that stand before the name of a command, too.
    void AddGlobalOptions();

    ExitCode RunChosen() const { return mChosen(); }

private:
    void AddDisplayOptions(CLI::App &app);

    CLI::App &mApp;
    CommonOptions mCommon;
    std::function<ExitCode()> mChosen; ///< what the command line asked for
};
} // namespace Keld::Morv
