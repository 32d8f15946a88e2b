// Prints how long the library takes beside the least that a task costs and beside its neighbours.
//
//     KeldComparison [--repetitions=N] [GROUP...]     all groups, or those whose names begin so
//     KeldComparison --only=KeldMorvIO [GROUP...]     with this contender alone, for a profile
//     KeldComparison --list [GROUP...]                their names
//
// Every group runs in a process of its own; how it ended is told on standard error. A line of the output is a row's
// contender: work, unit, what the library shall take at most of the limit, contender, least, median, most; parted by
// tabs.

#include "Benchmarks/Comparison/Content.h"
#include "Benchmarks/Comparison/Groups.h"

#include <algorithm>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <stdexcept>
#include <system_error>

#include <sys/prctl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Benchmarks
{
namespace
{
std::string gOnly; // the contender that was asked for; empty for all
} // namespace

bool HasTurns(const std::string &contender)
{
    return gOnly.empty() || contender == gOnly;
}

void MeasureAndPrint(const Row &wholeRow, int repetitions)
{
    Row row = wholeRow;
    std::erase_if(row.contenders,
                  [](const Contender &contender)
                  {
                      return !HasTurns(contender.name);
                  });
    for (const Measured &measured : Measure(row, repetitions))
    {
        PrintMeasured(row.work, row.unit, row.reach, measured);
    }
}

void PrintMeasured(const std::string &work, const std::string &unit, double reach, const Measured &measured)
{
    std::printf("%s\t%s\t%g\t%s\t%g\t%g\t%g\n", work.c_str(), unit.c_str(), reach, measured.name.c_str(),
                measured.least, measured.median, measured.most);
    std::fflush(stdout);
}

void PrintNote(const std::string &note)
{
    std::fprintf(stderr, "%s\n", note.c_str());
}

namespace
{
std::vector<Group> AllGroups()
{
    std::vector<Group> all;
    for (const auto &groups : {ReadGroups(), OpenGroups(), LookupGroups(), StartGroups()})
    {
        all.insert(all.end(), groups.begin(), groups.end());
    }
    return all;
}

volatile std::sig_atomic_t gGroup = 0;   // the process that runs a group, which leads a process group of its own
volatile std::sig_atomic_t gEndedBy = 0; // the signal that ended the program

/// The group goes, with all that it started; what it leaves on the disk is removed afterwards.
void EndGroup(int signal)
{
    gEndedBy = signal;
    if (gGroup > 0)
    {
        kill(-gGroup, SIGKILL);
    }
}

void HearSignals()
{
    struct sigaction action = {};
    action.sa_handler = EndGroup;
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    {
        sigaction(signal, &action, nullptr);
    }
}

/// In the process that is made for it.
[[noreturn]] void RunGroupAndExit(const Group &group, int repetitions)
{
    setpgid(0, 0);
    prctl(PR_SET_PDEATHSIG, SIGKILL);
    for (const int signal : {SIGINT, SIGTERM, SIGHUP})
    {
        std::signal(signal, SIG_DFL);
    }
    try
    {
        group.run(repetitions);
        std::exit(0);
    }
    catch (const std::exception &exception)
    {
        PrintNote(group.name + ": " + exception.what());
        std::exit(1);
    }
}

/// Whether it ended well.
bool RunGroup(const Group &group, int repetitions)
{
    const pid_t child = fork();
    if (child == 0)
    {
        RunGroupAndExit(group, repetitions);
    }
    if (child < 0)
    {
        throw std::system_error(errno, std::generic_category(), "no process for " + group.name);
    }
    setpgid(child, child); // whoever comes first
    gGroup = child;
    if (gEndedBy != 0)
    {
        EndGroup(gEndedBy);
    }
    int status = 0;
    while (waitpid(child, &status, 0) != child)
    {
    }
    gGroup = 0;
    if (WIFSIGNALED(status))
    {
        PrintNote(group.name + ": ended by signal " + std::to_string(WTERMSIG(status)) + ", " +
                  strsignal(WTERMSIG(status)));
        RemoveLeftWorkplaces();
    }
    return WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool RunGroups(const std::vector<Group> &groups, int repetitions)
{
    using Clock = std::chrono::steady_clock;
    RemoveLeftWorkplaces();
    HearSignals();
    bool well = true;
    for (const Group &group : groups)
    {
        const Clock::time_point begin = Clock::now();
        const bool groupWell = RunGroup(group, repetitions);
        const auto seconds = std::chrono::duration_cast<std::chrono::seconds>(Clock::now() - begin).count();
        PrintNote(group.name + (groupWell ? ": " : ": failed after ") + std::to_string(seconds) + " s");
        well = groupWell && well;
        if (gEndedBy != 0)
        {
            throw std::runtime_error("interrupted");
        }
    }
    return well;
}

/// Those whose names begin as one of the words does; all without words.
std::vector<Group> ChooseGroups(const std::vector<std::string> &words)
{
    std::vector<Group> groups = AllGroups();
    for (const std::string &word : words)
    {
        const bool isKnown = std::any_of(groups.begin(), groups.end(),
                                         [&word](const Group &group)
                                         {
                                             return group.name.starts_with(word);
                                         });
        if (!isKnown)
        {
            throw std::runtime_error("no group's name begins with \"" + word + "\"; --list names all");
        }
    }
    std::erase_if(groups,
                  [&words](const Group &group)
                  {
                      return !words.empty() && std::none_of(words.begin(), words.end(),
                                                            [&group](const std::string &word)
                                                            {
                                                                return group.name.starts_with(word);
                                                            });
                  });
    return groups;
}

int Run(std::vector<std::string> arguments)
{
    const std::string repetitionsOption = "--repetitions=";
    const std::string onlyOption = "--only=";
    int repetitions = 25;
    bool lists = false;
    while (!arguments.empty() && arguments[0].starts_with("--"))
    {
        if (arguments[0].starts_with(repetitionsOption))
        {
            repetitions = std::max(1, std::atoi(arguments[0].c_str() + repetitionsOption.size()));
        }
        else if (arguments[0].starts_with(onlyOption))
        {
            gOnly = arguments[0].substr(onlyOption.size());
        }
        else if (arguments[0] == "--list")
        {
            lists = true;
        }
        else
        {
            throw std::runtime_error("there is no option " + arguments[0]);
        }
        arguments.erase(arguments.begin());
    }
    const std::vector<Group> groups = ChooseGroups(arguments);
    if (lists)
    {
        for (const Group &group : groups)
        {
            std::puts(group.name.c_str());
        }
        return 0;
    }
    return RunGroups(groups, repetitions) ? 0 : 1;
}
} // namespace
} // namespace Keld::Benchmarks

int main(int argumentCount, char **arguments)
{
    try
    {
        const std::vector<std::string> words(arguments + 1, arguments + argumentCount);
        if (!words.empty() && words[0] == "once")
        {
            return Keld::Benchmarks::DoOnce({words.begin() + 1, words.end()});
        }
        return Keld::Benchmarks::Run(words);
    }
    catch (const std::exception &exception)
    {
        Keld::Benchmarks::PrintNote(exception.what());
        return 1;
    }
}
