#include "Consumer/WholeTrace/Scenario.h"

#include <cstdio>
#include <cstdlib>
#include <exception>
#include <filesystem>
#include <map>
#include <memory>
#include <stdexcept>

#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test::WholeTrace
{
namespace
{
struct StreamCloser
{
    void operator()(std::FILE *stream) const { std::fclose(stream); }
};

using Stream = std::unique_ptr<std::FILE, StreamCloser>;

// The process ends as a consumer's does, by exit, so that what the library does then is in the trace.
[[noreturn]] void RunHere(const Scenario &scenario, const TempTree &disk, int descriptor)
{
    auto *const trace = new Trace(descriptor);
    try
    {
        auto *const tree = new TraceTree(disk, *trace);
        std::filesystem::current_path(tree->Path("")); // where a call that starts the library by itself looks
        TracedLibrary library(*trace);
        scenario.run(*tree, library);
    }
    catch (const std::exception &exception)
    {
        trace->Line(std::string("the scenario ended early: ") + exception.what());
    }
    trace->Line("-- exit");
    std::exit(0);
}

std::string HowItEnded(int status)
{
    return WIFEXITED(status) ? "ended with " + std::to_string(WEXITSTATUS(status))
                             : "ended by signal " + std::to_string(WTERMSIG(status));
}
// Many trials of a scenario end alike. What stands behind a note and has stood behind another one before is told by
// that one's text.
std::string WithoutRepetitions(const std::string &trace)
{
    const std::string mark = "-- ";
    std::map<std::string, std::string> seen; // what stands behind a note, and the note
    std::string result;
    for (std::size_t at = 0; at < trace.size();)
    {
        const std::size_t next = trace.find('\n' + mark, at);
        const std::size_t end = next == std::string::npos ? trace.size() : next + 1;
        const std::string block = trace.substr(at, end - at);
        const std::size_t noteSize = block.starts_with(mark) ? block.find('\n') + 1 : 0;
        const std::string note = block.substr(0, noteSize);
        const auto [earlier, isNew] = seen.emplace(block.substr(noteSize), note);
        const bool isShort = block.size() - noteSize < 60;
        result += isNew || isShort || note.empty() ? block : note + "  as behind: " + earlier->second;
        at = end;
    }
    return result;
}
} // namespace

std::vector<Scenario> KeptScenarios()
{
    std::vector<Scenario> all;
    for (const auto &group : {ReleaseScenarios(), ReadScenarios(), ArchiveScenarios(), ManifestScenarios(),
                              SolutionScenarios(), LifetimeScenarios()})
    {
        all.insert(all.end(), group.begin(), group.end());
    }
    return all;
}

std::string RunScenario(const Scenario &scenario)
{
    const TempTree disk;
    const Stream file(std::tmpfile());
    if (file == nullptr)
    {
        throw std::runtime_error("cannot make a temporary file");
    }
    std::fflush(nullptr);
    const pid_t child = fork();
    if (child == 0)
    {
        RunHere(scenario, disk, fileno(file.get()));
    }
    int status = 0;
    if (child < 0 || waitpid(child, &status, 0) != child)
    {
        throw std::runtime_error("cannot run a process");
    }
    std::string text;
    std::rewind(file.get());
    for (int character = std::fgetc(file.get()); character != EOF; character = std::fgetc(file.get()))
    {
        text += static_cast<char>(character);
    }
    return WithoutRepetitions(text) + HowItEnded(status) + "\n";
}
} // namespace Keld::Test::WholeTrace
