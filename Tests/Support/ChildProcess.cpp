#include "Support/ChildProcess.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <stdexcept>

#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
[[noreturn]] void Do(const std::function<void()> &work)
{
    int status = 0;
    try
    {
        work();
    }
    catch (const std::exception &failure)
    {
        std::fprintf(stderr, "%s\n", failure.what());
        status = 1;
    }
    _exit(status);
}
} // namespace

pid_t StartChild(const std::function<void()> &work)
{
    const pid_t child = fork();
    if (child < 0)
    {
        throw std::runtime_error("cannot fork");
    }
    if (child == 0)
    {
        Do(work);
    }
    return child;
}

ChildEnd WaitForEnd(pid_t child)
{
    ChildEnd end;
    struct rusage usage = {};
    while (wait4(child, &end.status, 0, &usage) < 0)
    {
        if (errno != EINTR)
        {
            throw std::runtime_error("cannot wait for a process");
        }
    }
    end.peakMemory = static_cast<std::uint64_t>(usage.ru_maxrss) * 1024;
    return end;
}

int WaitForChild(pid_t child)
{
    return WaitForEnd(child).status;
}
} // namespace Keld::Test
