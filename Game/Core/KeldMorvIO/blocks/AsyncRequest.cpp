#include "KeldMorvIO/blocks/AsyncRequest.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/blocks/AsyncRequestPool.h"

#include <cerrno>

#include <aio.h>
#include <time.h>

namespace Keld::MORV::Reader
{
namespace
{
// Compared with the value that the wait returns and not with `errno`, as it always was. A wait that runs out of time
// returns -1, hence counts as finished.
constexpr int StillWaiting = EAGAIN;

void StoreResult(AsyncRequest &request)
{
    request.mError = aio_error(request.mControlBlock);
    request.mBytesRead = static_cast<int32>(aio_return(request.mControlBlock));
    request.mFile = AsyncFile::Null;
}

int SuspendAtMost(const aiocb &controlBlock, uint32 timeoutMs)
{
    const aiocb *const list[] = {&controlBlock};
    timespec limit{};
    limit.tv_sec = static_cast<time_t>(timeoutMs / 1000);
    limit.tv_nsec = static_cast<long>(timeoutMs % 1000) * 1'000'000;
    return aio_suspend(list, 1, &limit);
}
} // namespace

// A signal handler of the consumer ends the platform's wait early; the read goes on all the same and still writes to
// the caller's buffer, so the wait starts again.
int WaitForPlatform(const aiocb &controlBlock)
{
    const aiocb *const list[] = {&controlBlock};
    int result = 0;
    while (aio_error(&controlBlock) == EINPROGRESS)
    {
        result = aio_suspend(list, 1, nullptr);
    }
    return result;
}

void CollectResult(AsyncRequest &request)
{
    if (WaitForPlatform(*request.mControlBlock) != StillWaiting)
    {
        StoreResult(request);
    }
}

AsyncRequest *AsyncBeginRead(AsyncFile file, uint64 offset, uint32 size, void *buffer)
{
    AsyncRequest *const request = GetAsyncRequestPool().AsyncAcquire();
    if (request == nullptr)
    {
        return nullptr;
    }
    AsyncRequestPool::AsyncReset(*request);
    if (size == 0)
    {
        return request;
    }
    aiocb &controlBlock = *request->mControlBlock;
    controlBlock.aio_fildes = static_cast<int>(file);
    controlBlock.aio_offset = static_cast<off_t>(offset);
    controlBlock.aio_buf = buffer;
    controlBlock.aio_nbytes = size;
    controlBlock.aio_lio_opcode = LIO_READ;
    if (aio_read(&controlBlock) != 0)
    {
        request->mError = errno;
        return request;
    }
    request->mFile = file;
    return request;
}

bool AsyncWait(AsyncRequest *request, uint32 timeoutMs)
{
    if (request->mFile == AsyncFile::Null)
    {
        return true;
    }
    const int result = timeoutMs == AsyncWaitForever ? WaitForPlatform(*request->mControlBlock)
                                                     : SuspendAtMost(*request->mControlBlock, timeoutMs);
    if (result == StillWaiting)
    {
        return false;
    }
    StoreResult(*request);
    return true;
}

int32 AsyncGetBytesRead(AsyncRequest *request)
{
    if (request->mFile != AsyncFile::Null)
    {
        CollectResult(*request);
    }
    return request->mBytesRead;
}

int32 AsyncGetError(AsyncRequest *request)
{
    if (request->mFile != AsyncFile::Null)
    {
        CollectResult(*request);
    }
    return request->mError;
}

const char *AsyncGetErrorText(AsyncRequest *request)
{
    if (request->mFile != AsyncFile::Null)
    {
        CollectResult(*request);
    }
    if (request->mErrorText[0] == '\0')
    {
        std_error_text(request->mError, request->mErrorText, sizeof request->mErrorText);
    }
    return request->mErrorText;
}

void AsyncRelease(AsyncRequest *request)
{
    GetAsyncRequestPool().AsyncRelease(request);
}
} // namespace Keld::MORV::Reader
