#include "KeldMorvIO/blocks/AsyncRequestPool.h"

#include "KeldFoundation/CStd/CStd.h"

#include <cerrno>
#include <functional>

#include <time.h>

namespace Keld::MORV::Reader
{
namespace
{
// Built before, and destroyed after, the other static objects of the library.
[[gnu::init_priority(200)]] AsyncRequestPool gAsyncRequestPool;

// Compared with what the platform's wait returns, not with `errno`. Here that is 0 or -1, so a wait that runs out of
// time counts as finished.
constexpr int StillWaiting = EAGAIN;

void ClearResults(AsyncRequest &request)
{
    request.mFile = AsyncFile::Null;
    request.mBytesRead = 0;
    request.mError = 0;
    request.mErrorText[0] = '\0';
}

void StoreResult(AsyncRequest &request)
{
    request.mError = AioError(*request.mControlBlock);
    request.mBytesRead = static_cast<int32>(AioReturn(*request.mControlBlock));
    request.mFile = AsyncFile::Null;
}

// Waits without limit until the platform has done with a control block; at once for one that was never started. A
// signal handler of the consumer ends the platform's wait early. The read goes on and still writes to the caller's
// buffer, so the wait starts again.
int WaitForPlatform(const AioControlBlock &controlBlock)
{
    int result = 0;
    while (AioError(controlBlock) == EINPROGRESS)
    {
        result = AioSuspend(controlBlock, nullptr);
    }
    return result;
}

int WaitForPlatformAtMost(const AioControlBlock &controlBlock, uint32 timeoutMs)
{
    timespec limit{};
    limit.tv_sec = static_cast<time_t>(timeoutMs / 1000);
    limit.tv_nsec = static_cast<long>(timeoutMs % 1000) * 1'000'000;
    return AioSuspend(controlBlock, &limit);
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
    std_bzero(request->mControlBlock, sizeof(AioControlBlock));
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
        Collect(mRequests[index]);
    }
    // A read that was given up after a time limit is no longer marked as in flight, but the platform still writes to
    // its buffer and to the control block, which the next holder clears.
    WaitForPlatform(mControlBlocks[index]);
    mInUse[index] = false;
    mSemaphore.Post();
}

void AsyncRequestPool::AsyncReset(AsyncRequest &request)
{
    if (request.mFile != AsyncFile::Null)
    {
        Collect(request);
    }
    ClearResults(request);
}

void AsyncRequestPool::Start(AsyncRequest &request, AsyncFile file, uint64 offset, uint32 size, void *buffer)
{
    AioControlBlock &controlBlock = *request.mControlBlock;
    controlBlock.aio_fildes = AsyncGetReadable(file);
    controlBlock.aio_offset = static_cast<off_t>(offset);
    controlBlock.aio_buf = buffer;
    controlBlock.aio_nbytes = size;
    controlBlock.aio_lio_opcode = LIO_READ;
    if (AioRead(controlBlock) != 0)
    {
        request.mError = errno;
        return;
    }
    request.mFile = file;
}

bool AsyncRequestPool::Collect(AsyncRequest &request)
{
    if (WaitForPlatform(*request.mControlBlock) == StillWaiting)
    {
        return false;
    }
    StoreResult(request);
    return true;
}

bool AsyncRequestPool::CollectWithin(AsyncRequest &request, uint32 timeoutMs)
{
    if (WaitForPlatformAtMost(*request.mControlBlock, timeoutMs) == StillWaiting)
    {
        return false;
    }
    StoreResult(request);
    return true;
}
} // namespace Keld::MORV::Reader
