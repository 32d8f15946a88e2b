#include "KeldMorvIO/blocks/AsyncRequestPool.h"

#include "KeldFoundation/CStd/CStd.h"

#include <functional>

namespace Keld::MORV::Reader
{
namespace
{
// Built before, and destroyed after, the other static objects of the library.
[[gnu::init_priority(200)]] AsyncRequestPool gAsyncRequestPool;

void ClearResults(AsyncRequest &request)
{
    request.mFile = AsyncFile::Null;
    request.mBytesRead = 0;
    request.mError = 0;
    request.mErrorText[0] = '\0';
}
} // namespace

AsyncRequestPool &GetAsyncRequestPool()
{
    return gAsyncRequestPool;
}

AsyncRequestPool::AsyncRequestPool() : mRequests{}, mControlBlocks{}, mInUse{}, mSemaphore(static_cast<int>(SlotCount))
{
    for (uint32 index = 0; index < SlotCount; ++index)
    {
        mRequests[index].mControlBlock = &mControlBlocks[index];
    }
}

AsyncRequest *AsyncRequestPool::AsyncAcquire()
{
    if (!mSemaphore.Wait())
    {
        return nullptr;
    }
    const MutexLock lock(mMutex);
    AsyncRequest *const request = TakeFreeSlot();
    if (request == nullptr)
    {
        return nullptr; // the count taken above stays taken
    }
    std_bzero(request->mControlBlock, sizeof(aiocb));
    request->mControlBlock->aio_sigevent.sigev_notify = SIGEV_NONE; // the end of a read is noticed by waiting alone
    AsyncReset(*request);
    return request;
}

AsyncRequest *AsyncRequestPool::TakeFreeSlot()
{
    for (uint32 index = 0; index < SlotCount; ++index)
    {
        if (!mInUse[index])
        {
            mInUse[index] = true;
            return &mRequests[index];
        }
    }
    return nullptr;
}

void AsyncRequestPool::AsyncReset(AsyncRequest &request)
{
    if (request.mFile != AsyncFile::Null)
    {
        CollectResult(request);
    }
    ClearResults(request);
}

void AsyncRequestPool::AsyncRelease(AsyncRequest *request)
{
    const std::less<const AsyncRequest *> before; // a total order, for a pointer from anywhere
    if (before(request, mRequests) || !before(request, mRequests + SlotCount))
    {
        return;
    }
    const auto index = static_cast<uint_size>(request - mRequests);
    const MutexLock lock(mMutex);
    if (!mInUse[index])
    {
        return;
    }
    if (mRequests[index].mFile != AsyncFile::Null)
    {
        CollectResult(mRequests[index]);
    }
    // A read that was given up after a time limit is no longer marked as in flight, but the platform still writes to
    // its buffer and to the control block, which the next holder clears.
    WaitForPlatform(mControlBlocks[index]);
    mInUse[index] = false;
    mSemaphore.Post();
}
} // namespace Keld::MORV::Reader
