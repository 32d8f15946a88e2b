#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/sync/Mutex.h"
#include "KeldFoundation/sync/Semaphore.h"
#include "KeldMorvIO/blocks/AioCalls.h"
#include "KeldMorvIO/blocks/AsyncFile.h"

namespace Keld::MORV::Reader
{
/// One slot of the pool: one read, from its start to its collected result.
struct AsyncRequest
{
    AsyncFile mFile;                ///< not null: a read was begun, and its result was not collected
    AioControlBlock *mControlBlock; ///< set once by the pool, never changed
    int32 mBytesRead;               ///< as `AioReturn` gave it
    int32 mError;                   ///< as `AioError` gave it, or the `errno` of a start that failed
    char mErrorText[100];           ///< filled on demand; empty until then
};

/// The request slots: their number is what limits the reads in flight. Order of taking: semaphore, then mutex.
class AsyncRequestPool
{
public:
    static constexpr uint32 SlotCount = 4;

    AsyncRequestPool();

    AsyncRequestPool(const AsyncRequestPool &) = delete;
    AsyncRequestPool &operator=(const AsyncRequestPool &) = delete;

    /// A cleared slot, sleeping while all are taken; null when a signal ends the sleep.
    AsyncRequest *AsyncAcquire();

    /// Waits for what is in flight. Ignores a pointer that is no slot of this pool, and a slot that is free.
    void AsyncRelease(AsyncRequest *request);

    // The calls below are for whoever holds the slot, and take no lock.

    /// Collects what is in flight and clears the results.
    static void AsyncReset(AsyncRequest &request);

    /// Gives a read to the platform. When that fails, the request reads as finished with the error.
    static void Start(AsyncRequest &request, AsyncFile file, uint64 offset, uint32 size, void *buffer);

    /// Waits for the read in flight, stores its results, and marks the slot as no longer in flight. False, with nothing
    /// stored, is left to platforms whose wait returns EAGAIN.
    static bool Collect(AsyncRequest &request);

    /// The same with a time limit. A read that has not ended in time is collected as it stands, with the error
    /// EINPROGRESS.
    static bool CollectWithin(AsyncRequest &request, uint32 timeoutMs);

private:
    AsyncRequest *TakeFreeSlot();

    AsyncRequest mRequests[SlotCount];
    AioControlBlock mControlBlocks[SlotCount]; ///< entry i belongs to slot i
    bool mInUse[SlotCount];                    ///< guarded by mMutex
    Mutex mMutex;
    Semaphore mSemaphore; ///< one count for each free slot; below the mutex, so that it is destroyed first
};

/// The pool of the process.
AsyncRequestPool &GetAsyncRequestPool();
} // namespace Keld::MORV::Reader
