#include "Support/KilledChild.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <csignal>
#include <cstdio>
#include <exception>
#include <memory>
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

bool IsKilledDoing(const std::function<void()> &work)
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
    int status = 0;
    while (waitpid(child, &status, 0) < 0)
    {
        if (errno != EINTR)
        {
            throw std::runtime_error("cannot wait for a process");
        }
    }
    const bool isKilled = WIFSIGNALED(status) && WTERMSIG(status) == SIGKILL;
    EXPECT_TRUE(isKilled || status == 0) << "it ended with status " << status;
    return isKilled;
}

std::function<void()> KillAtCall(int number)
{
    return [left = std::make_shared<std::atomic<int>>(number)]
    {
        if ((*left)-- == 0)
        {
            kill(getpid(), SIGKILL);
        }
    };
}
} // namespace Keld::Test
