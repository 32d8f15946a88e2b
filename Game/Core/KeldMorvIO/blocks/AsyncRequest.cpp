#include "KeldMorvIO/blocks/AsyncRequest.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/blocks/AsyncRequestPool.h"

namespace Keld::MORV::Reader
{
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

AsyncRequest *AsyncBeginRead(AsyncFile file, uint64 offset, uint32 size, void *buffer)
{
    AsyncRequest *const request = GetAsyncRequestPool().AsyncAcquire();
    if (request == nullptr)
    {
        return nullptr;
    }
    AsyncRequestPool::AsyncReset(*request);
    if (size != 0)
    {
        AsyncRequestPool::Start(*request, file, offset, size, buffer);
    }
    return request;
}

bool AsyncWait(AsyncRequest *request, uint32 timeoutMs)
{
    if (request->mFile == AsyncFile::Null)
    {
        return true;
    }
    return timeoutMs == AsyncWaitForever ? AsyncRequestPool::Collect(*request)
                                         : AsyncRequestPool::CollectWithin(*request, timeoutMs);
}

int32 AsyncGetBytesRead(AsyncRequest *request)
{
    AsyncWait(request, AsyncWaitForever);
    return request->mBytesRead;
}

int32 AsyncGetError(AsyncRequest *request)
{
    AsyncWait(request, AsyncWaitForever);
    return request->mError;
}

const char *AsyncGetErrorText(AsyncRequest *request)
{
    AsyncWait(request, AsyncWaitForever);
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
