#include "KeldMorvIO/blocks/AsyncFile.h"

#include "KeldFoundation/CStd/ReadyFiles.h"

#include <cerrno>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
namespace
{
// Something that is always there, and that opens without being looked into: every read of it gives EBADF.
int OpenUnreadable()
{
    return open("/", O_PATH | O_CLOEXEC);
}
void PutUnreadable(int number)
{
    int unreadable = OpenUnreadable();
    if (unreadable == -1)
    {
        // No descriptor is free but the one that is closed here, which is the next to be given out.
        close(number);
        unreadable = OpenUnreadable();
        if (unreadable == number || unreadable == -1)
        {
            return;
        }
    }
    else
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
    }
    close(unreadable);
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
    if (flags == -1 || (flags & O_PATH) != 0)
    {
        errno = EBADF; // as closing twice gives it
        return;
    }
    const int error = errno;
    PutUnreadable(number);
    errno = error;
}

bool AsyncHasPositions(AsyncFile file)
{
    const int callersError = errno;
    const bool has = lseek(static_cast<int>(file), 0, SEEK_CUR) != -1;
    errno = callersError;
    return has;
}
} // namespace Keld::MORV::Reader
