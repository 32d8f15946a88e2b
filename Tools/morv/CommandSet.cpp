#include "Tools/morv/CommandSet.h"
#include "Tools/morv/OptionChecks.h"

#include "Tools/Common/ParallelWork.h"
#include "Tools/TreeReader/TreeError.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <memory>

#include <sys/stat.h>
#include <unistd.h>

namespace Keld::Morv
{
namespace
{
constexpr unsigned MostThreads = 256;
constexpr const char *CommonGroup = "Options of every command";

struct Freer
{
    void operator()(char *text) const { std::free(text); }
};

[[noreturn]] void RefuseDirectory(const std::string &directory, int error)
{
    throw TreeReader::TreeError(directory + ": cannot work there: " + std::strerror(error));
}
} // namespace

std::string CommonOptions::GetDirectory() const
{
    const std::unique_ptr<char, Freer> resolved(realpath(directory.c_str(), nullptr));
    struct stat status = {};
    if (resolved == nullptr || stat(resolved.get(), &status) != 0)
    {
        RefuseDirectory(directory, errno);
    }
    if (!S_ISDIR(status.st_mode))
    {
        RefuseDirectory(directory, ENOTDIR);
    }
    if (access(resolved.get(), X_OK) != 0)
    {
        RefuseDirectory(directory, errno);
    }
    return resolved.get();
}

unsigned CommonOptions::GetThreadCount() const
{
    return jobs != 0 ? jobs : Common::GetProcessorCount();
}

CLI::App &CommandSet::Add(const CommandWords &words, std::function<ExitCode()> run)
{
    CLI::App &command = *mApp.add_subcommand(words.name, words.description);
    command.footer(words.footer);
    command.callback(
        [this, run = std::move(run)]
        {
            mChosen = run;
        });
    AddDisplayOptions(command);
    if (words.writesJson)
    {
        command.add_flag("--json", mCommon.json, "Write one JSON document instead of text")->group(CommonGroup);
    }
    if (words.usesThreads)
    {
        command.add_option("-j,--jobs", mCommon.jobs, "Work on so many threads (default: one per processor)")
            ->type_name("N")
            ->transform(WholeNumber())
            ->check(CLI::Range(1U, MostThreads))
            ->group(CommonGroup);
    }
    return command;
}

void CommandSet::AddGlobalOptions()
{
    mApp.add_option("-C,--directory", mCommon.directory,
                    "Work in this directory of a release instead of the current one")
        ->type_name("DIR");
    mApp.add_flag("-v,--verbose", mCommon.verbose, "Show all that the library logs, where it is started");
    AddDisplayOptions(mApp);
}

void CommandSet::AddDisplayOptions(CLI::App &app)
{
    app.add_flag("-q,--quiet", mCommon.quiet, "Print results and errors alone: no summary, notes or progress")
        ->group(CommonGroup);
    app.add_option("--color", mCommon.color, "auto (the default; NO_COLOR is heeded), always or never")
        ->type_name("WHEN")
        ->check(CLI::IsMember({"auto", "always", "never"}))
        ->group(CommonGroup);
}
} // namespace Keld::Morv
