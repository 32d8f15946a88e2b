#include "Support/KilledChild.h"

#include "Support/ChildProcess.h"

#include <gtest/gtest.h>

#include <atomic>
#include <csignal>
#include <memory>

#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Test
{
bool IsKilledDoing(const std::function<void()> &work)
{
    const int status = WaitForChild(StartChild(work));
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
