#include "KeldMorvIO/blocks/AioCalls.h"

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>
#include <unistd.h>

// What the platform's helper threads do for a read, done where the read begins. A helper has all signals blocked; here
// the consumer's may come in the middle of a transfer, and must not show in its result.
namespace Keld::MORV::Reader
{
namespace
{
/// The most bytes that the system transfers at a time.
constexpr size_t LargestTransfer = 0x7FFFF000;

/// One transfer. Negative offsets are refused by `pread`, so none is taken for "the file position". Pipes and other
/// files without positions are read where they are.
ssize_t Transfer(int file, char *buffer, size_t size, off_t offset)
{
    ssize_t result = 0;
    do
    {
        result = pread(file, buffer, size, offset);
        if (result == -1 && errno == ESPIPE)
        {
            result = read(file, buffer, size);
        }
    } while (result == -1 && errno == EINTR);
    return result;
}

bool IsInsideRegularFile(int file, off_t position)
{
    struct stat status = {};
    return fstat(file, &status) == 0 && S_ISREG(status.st_mode) && position < status.st_size;
}

/// A signal may cut a transfer from a regular file short. It is continued then, as long as anything comes; an error of
/// the rest leaves the bytes that came.
ssize_t TransferAll(int file, char *buffer, size_t size, off_t offset)
{
    const ssize_t first = Transfer(file, buffer, size, offset);
    if (first <= 0)
    {
        return first;
    }
    auto done = static_cast<size_t>(first);
    while (done < size && IsInsideRegularFile(file, offset + static_cast<off_t>(done)))
    {
        const ssize_t more = Transfer(file, buffer + done, size - done, offset + static_cast<off_t>(done));
        if (more <= 0)
        {
            break;
        }
        done += static_cast<size_t>(more);
    }
    return static_cast<ssize_t>(done);
}
} // namespace

int AioRead(AioControlBlock &block)
{
    const int callersError = errno;
    const size_t size = std::min(block.aio_nbytes, LargestTransfer);
    block.mResult =
        TransferAll(block.aio_fildes, static_cast<char *>(const_cast<void *>(block.aio_buf)), size, block.aio_offset);
    block.mError = block.mResult == -1 ? errno : 0;
    errno = callersError;
    return 0;
}

int AioSuspend(const AioControlBlock &, const timespec *)
{
    return 0;
}

int AioError(const AioControlBlock &block)
{
    return block.mError;
}

ssize_t AioReturn(AioControlBlock &block)
{
    return block.mResult;
}
} // namespace Keld::MORV::Reader
