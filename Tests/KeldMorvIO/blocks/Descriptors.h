#pragma once

#include "KeldMorvIO/blocks/AsyncFile.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::Test
{
inline bool IsOpenDescriptor(MORV::Reader::AsyncFile file)
{
    return fcntl(static_cast<int>(file), F_GETFD) != -1;
}

/// Whether the file behind a handle is closed while its number stays taken. Frees the number.
inline bool IsClosedButTaken(MORV::Reader::AsyncFile file)
{
    char byte = 0;
    const bool isClosed = pread(static_cast<int>(file), &byte, 1, 0) == -1 && errno == EBADF;
    const bool isTaken = IsOpenDescriptor(file);
    MORV::Reader::AsyncClose(file);
    return isClosed && isTaken && !IsOpenDescriptor(file);
}

/// The number that the next file would get: it stays the same where nothing leaks.
inline int LowestFreeDescriptor()
{
    const int descriptor = open("/dev/null", O_RDONLY | O_CLOEXEC);
    close(descriptor);
    return descriptor;
}

/// Closes standard input for a while, so that the next file gets descriptor 0, which is the null handle.
class ClosedStandardInput
{
public:
    ClosedStandardInput() : mSaved(fcntl(STDIN_FILENO, F_DUPFD_CLOEXEC, 3)) { close(STDIN_FILENO); }
    ~ClosedStandardInput()
    {
        close(STDIN_FILENO);
        if (mSaved != -1)
        {
            dup2(mSaved, STDIN_FILENO);
            close(mSaved);
        }
    }
    ClosedStandardInput(const ClosedStandardInput &) = delete;
    ClosedStandardInput &operator=(const ClosedStandardInput &) = delete;

private:
    int mSaved;
};
} // namespace Keld::Test
