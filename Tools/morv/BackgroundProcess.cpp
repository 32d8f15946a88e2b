#include "Tools/morv/BackgroundProcess.h"

#include <cerrno>
#include <cstdio>
#include <system_error>

#include <fcntl.h>
#include <sys/wait.h>
#include <unistd.h>

namespace Keld::Morv
{
namespace
{
[[noreturn]] void FailWith(const char *what)
{
    throw std::system_error(errno, std::generic_category(), what);
}

void SilenceStandardDescriptors()
{
    const int nothing = open("/dev/null", O_RDWR | O_CLOEXEC);
    for (const int descriptor : {STDIN_FILENO, STDOUT_FILENO, STDERR_FILENO})
    {
        dup2(nothing, descriptor);
    }
    if (nothing > STDERR_FILENO)
    {
        close(nothing);
    }
}
} // namespace

BackgroundProcess::BackgroundProcess()
{
    int ends[2];
    if (pipe2(ends, O_CLOEXEC) != 0)
    {
        FailWith("cannot make a pipe");
    }
    std::fflush(nullptr); // or the text that waits would be written twice
    mChild = fork();
    if (mChild < 0)
    {
        const int error = errno;
        close(ends[0]);
        close(ends[1]);
        errno = error;
        FailWith("cannot start a process");
    }
    mPipe = IsParent() ? ends[0] : ends[1];
    close(IsParent() ? ends[1] : ends[0]);
}

BackgroundProcess::~BackgroundProcess()
{
    close(mPipe);
}

ExitCode BackgroundProcess::Wait(bool &serves)
{
    unsigned char result = 0;
    ssize_t count = 0;
    do
    {
        count = read(mPipe, &result, 1);
    } while (count < 0 && errno == EINTR);
    serves = count == 1;
    if (serves)
    {
        return static_cast<ExitCode>(result);
    }
    int status = 0;
    while (waitpid(mChild, &status, 0) < 0 && errno == EINTR)
    {
    }
    if (!WIFEXITED(status))
    {
        PrintError("the process that was to serve the mount was killed");
        return ExitTrouble;
    }
    return static_cast<ExitCode>(WEXITSTATUS(status));
}

bool BackgroundProcess::Detach(ExitCode result)
{
    setsid();
    if (chdir("/") != 0)
    {
        return false;
    }
    SilenceStandardDescriptors();
    const auto byte = static_cast<unsigned char>(result);
    return write(mPipe, &byte, 1) == 1;
}
} // namespace Keld::Morv
