#include "KeldMorvIO/blocks/AsyncFile.h"

#include "KeldFoundation/CStd/ReadyFiles.h"

#include <atomic>
#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
namespace
{
// Says of a file that nothing can be read from it any more, though it is open. On a file that is only read the flag has
// no other meaning. The system keeps it, so that nothing has to be allocated where hardly anything can be.
constexpr int ClosedMark = O_APPEND;

// Whether any file has had the mark: without one, which is nearly always so, no read asks the system for it.
std::atomic<bool> gIsMarkUsed{false};

// Something that is always there, and that opens without being looked into: every read of it gives EBADF.
int OpenUnreadable()
{
    return open("/", O_PATH | O_CLOEXEC);
}

void PutInPlace(int unreadable, int number)
{
    int taken = -1;
    do
    {
        taken = dup3(unreadable, number, O_CLOEXEC);
    } while (taken == -1 && (errno == EINTR || errno == EBUSY));
    if (taken == -1)
    {
        close(number); // of a number beyond a limit that was lowered: nobody else can get it either
    }
    close(unreadable);
}

void Mark(int number, int flags)
{
    fcntl(number, F_SETFL, flags | ClosedMark);
    gIsMarkUsed.store(true, std::memory_order_release);
}
} // namespace

// Close-on-exec: data files stay open for as long as the library is up, and programs that the consumer starts must not
// inherit them.
AsyncFile AsyncOpen(const char *path)
{
    const int descriptor = std_open_ready(path);
    return descriptor == -1 ? AsyncFile::Null : static_cast<AsyncFile>(descriptor);
}

void AsyncClose(AsyncFile file)
{
    if (file != AsyncFile::Null)
    {
        close(static_cast<int>(file));
    }
}

void AsyncCloseKeepingNumber(AsyncFile file)
{
    if (file == AsyncFile::Null)
    {
        return;
    }
    const int number = static_cast<int>(file);
    const int flags = fcntl(number, F_GETFL);
    if (flags == -1 || (flags & (O_PATH | ClosedMark)) != 0)
    {
        errno = EBADF; // as closing twice gives it
        return;
    }
    const int error = errno;
    const int unreadable = OpenUnreadable();
    if (unreadable != -1)
    {
        PutInPlace(unreadable, number);
    }
    else
    {
        Mark(number, flags); // no other file can be had, and a number that is free for a moment may go to anybody
    }
    errno = error;
}

int AsyncGetReadable(AsyncFile file)
{
    const int number = static_cast<int>(file);
    if (!gIsMarkUsed.load(std::memory_order_acquire))
    {
        return number;
    }
    const int callersError = errno;
    const int flags = fcntl(number, F_GETFL);
    errno = callersError;
    return flags == -1 || (flags & ClosedMark) != 0 ? -1 : number;
}

bool AsyncHasPositions(AsyncFile file)
{
    const int callersError = errno;
    const bool has = lseek(AsyncGetReadable(file), 0, SEEK_CUR) != -1;
    errno = callersError;
    return has;
}
} // namespace Keld::MORV::Reader
