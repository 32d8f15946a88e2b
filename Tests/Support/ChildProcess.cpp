#include "Support/ChildProcess.h"

#include <cerrno>
#include <cstdio>
#include <exception>
#include <stdexcept>

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

int WaitForChild(pid_t child)
{
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
    {
        if (errno != EINTR)
        {
            throw std::runtime_error("cannot wait for a process");
        }
    }
    return status;
}
} // namespace Keld::Test
