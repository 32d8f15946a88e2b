#include "Tools/ToolRun.h"

#include "Support/ArgumentPointers.h"
#include "Support/ChildProcess.h"
#include "Support/TempTree.h"

#include <csignal>
#include <cstdio>
#include <stdexcept>

#include <fcntl.h>
#include <pty.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
void Redirect(int descriptor, const std::string &path)
{
    const int file = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC, 0644);
    if (file < 0 || dup2(file, descriptor) < 0)
    {
        _exit(126);
    }
}

// Runs the tool in place of this process.
[[noreturn]] void Become(const std::string &directory, const std::vector<std::string> &arguments)
{
    std::vector<std::string> words{KELD_MORV_PROGRAM};
    words.insert(words.end(), arguments.begin(), arguments.end());
    const std::vector<char *> pointers = ArgumentPointers(words);
    if (chdir(directory.c_str()) == 0)
    {
        execv(pointers[0], pointers.data());
    }
    _exit(127);
}

// Takes what comes until the other side has gone: an end, or of a terminal an error.
std::string ReadUntilGone(int descriptor)
{
    std::string text;
    char buffer[4096];
    for (ssize_t count = 0; (count = read(descriptor, buffer, sizeof buffer)) > 0;)
    {
        text.append(buffer, static_cast<std::size_t>(count));
    }
    close(descriptor);
    return text;
}

// Waits until the tool has ended.
ToolResult EndOf(pid_t child)
{
    const ChildEnd end = WaitForEnd(child);
    ToolResult result;
    result.exitCode = WIFEXITED(end.status) ? WEXITSTATUS(end.status) : -1;
    result.peakMemory = end.peakMemory;
    return result;
}

// The same where it writes to a terminal or a pipe, until that has gone.
ToolResult EndOf(pid_t child, int descriptor)
{
    std::string text = ReadUntilGone(descriptor);
    ToolResult result = EndOf(child);
    result.out = std::move(text);
    return result;
}
} // namespace

ToolResult RunMorv(const std::string &directory, const std::vector<std::string> &arguments)
{
    const TempTree files;
    const std::string outPath = files.Path("out");
    const std::string errorPath = files.Path("error");
    const pid_t child = StartChild(
        [&]
        {
            Redirect(STDOUT_FILENO, outPath);
            Redirect(STDERR_FILENO, errorPath);
            Become(directory, arguments);
        });
    ToolResult result = EndOf(child);
    result.out = files.Read("out");
    result.error = files.Read("error");
    return result;
}

ToolResult RunMorvInto(const std::string &directory, const std::vector<std::string> &arguments, int output)
{
    const TempTree files;
    const std::string errorPath = files.Path("error");
    const pid_t child = StartChild(
        [&]
        {
            if (dup2(output, STDOUT_FILENO) < 0)
            {
                _exit(126);
            }
            Redirect(STDERR_FILENO, errorPath);
            Become(directory, arguments);
        });
    ToolResult result = EndOf(child);
    result.error = files.Read("error");
    return result;
}

ToolResult RunMorvOnTerminal(const std::string &directory, const std::vector<std::string> &arguments)
{
    return RunOnTerminal(
        [&]
        {
            Become(directory, arguments);
        });
}

ToolResult RunOnTerminal(const std::function<void()> &work)
{
    int terminal = -1;
    const pid_t child = forkpty(&terminal, nullptr, nullptr, nullptr);
    if (child < 0)
    {
        throw std::runtime_error("cannot make a terminal");
    }
    if (child == 0)
    {
        try
        {
            work();
        }
        catch (const std::exception &failure)
        {
            std::fprintf(stderr, "%s\n", failure.what());
        }
        _exit(126);
    }
    return EndOf(child, terminal);
}

ToolResult RunMorvWithoutRoom(const std::string &directory, const std::vector<std::string> &arguments)
{
    int ends[2] = {};
    if (pipe2(ends, O_CLOEXEC) != 0)
    {
        throw std::runtime_error("cannot make a pipe");
    }
    const pid_t child = StartChild(
        [&]
        {
            const struct rlimit none = {0, 0};
            const bool isReady = dup2(ends[1], STDOUT_FILENO) >= 0 && dup2(ends[1], STDERR_FILENO) >= 0 &&
                                 std::signal(SIGXFSZ, SIG_IGN) != SIG_ERR && setrlimit(RLIMIT_FSIZE, &none) == 0;
            if (!isReady)
            {
                _exit(126);
            }
            Become(directory, arguments);
        });
    close(ends[1]);
    return EndOf(child, ends[0]);
}
} // namespace Keld::Test
