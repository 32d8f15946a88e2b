// Prints how long the library takes beside the least that a task costs and beside its neighbours.
//
//     KeldComparison [--repetitions=N] [GROUP...]     all groups, or those whose names begin so
//
// Every group runs in a process of its own. A line of the output is a row's contender:
// work, unit, what the library shall take at most of the limit, contender, least, median, most; parted by tabs.

#include "Benchmarks/Comparison/Groups.h"

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>

#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Benchmarks
{
void MeasureAndPrint(const Row &row, int repetitions)
{
    for (const Measured &measured : Measure(row, repetitions))
    {
        std::printf("%s\t%s\t%g\t%s\t%g\t%g\t%g\n", row.work.c_str(), row.unit.c_str(), row.reach,
                    measured.name.c_str(), measured.least, measured.median, measured.most);
    }
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

/// Whether it ended well.
bool RunGroup(const Group &group, int repetitions)
{
    std::fprintf(stderr, "measuring %s\n", group.name.c_str());
    const pid_t child = fork();
    if (child == 0)
    {
        try
        {
            group.run(repetitions);
            std::exit(0);
        }
        catch (const std::exception &exception)
        {
            PrintNote(exception.what());
            std::exit(1);
        }
    }
    int status = 0;
    return child > 0 && waitpid(child, &status, 0) == child && WIFEXITED(status) && WEXITSTATUS(status) == 0;
}

bool IsWanted(const Group &group, const std::vector<std::string> &names)
{
    return names.empty() || std::any_of(names.begin(), names.end(),
                                        [&group](const std::string &name)
                                        {
                                            return group.name.starts_with(name);
                                        });
}

int Run(std::vector<std::string> arguments)
{
    const std::string option = "--repetitions=";
    int repetitions = 25;
    if (!arguments.empty() && arguments[0].starts_with(option))
    {
        repetitions = std::atoi(arguments[0].c_str() + option.size());
        arguments.erase(arguments.begin());
    }
    bool well = true;
    for (const Group &group : AllGroups())
    {
        if (IsWanted(group, arguments))
        {
            well = RunGroup(group, repetitions) && well;
        }
    }
    return well ? 0 : 1;
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
