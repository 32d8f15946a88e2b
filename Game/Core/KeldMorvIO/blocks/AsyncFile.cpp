#include "KeldMorvIO/blocks/AsyncFile.h"

#include "KeldMorvIO/blocks/AsyncRequest.h"

#include <fcntl.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
// Close-on-exec: data files stay open for as long as the library is up, and no program that the consumer starts shall
// inherit them.
AsyncFile AsyncOpen(const char *path)
{
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    return descriptor == -1 ? AsyncFile::Null : static_cast<AsyncFile>(descriptor);
}

void AsyncClose(AsyncFile file)
{
    if (file != AsyncFile::Null)
    {
        close(static_cast<int>(file));
    }
}

bool AsyncRead(AsyncFile file, uint64 offset, uint32 size, uint32 *bytesRead, void *buffer)
{
    AsyncRequest *const request = AsyncBeginRead(file, offset, size, buffer);
    if (request == nullptr)
    {
        return false;
    }
    AsyncWait(request, AsyncWaitForever);
    if (bytesRead != nullptr)
    {
        *bytesRead = static_cast<uint32>(AsyncGetBytesRead(request));
    }
    const int32 error = AsyncGetError(request);
    AsyncRelease(request);
    return error == 0;
}
} // namespace Keld::MORV::Reader
