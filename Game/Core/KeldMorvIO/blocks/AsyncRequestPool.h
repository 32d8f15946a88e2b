#pragma once

#include "KeldFoundation/sync/Mutex.h"
#include "KeldFoundation/sync/Semaphore.h"
#include "KeldMorvIO/blocks/AsyncRequest.h"

#include <aio.h>

namespace Keld::MORV::Reader
{
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

    /// Collects what is in flight and clears the results of a slot that the caller holds.
    static void AsyncReset(AsyncRequest &request);

    /// Ignores a pointer that is no slot of this pool, and a slot that is free.
    void AsyncRelease(AsyncRequest *request);

private:
    AsyncRequest *TakeFreeSlot();

    AsyncRequest mRequests[SlotCount];
    aiocb mControlBlocks[SlotCount]; ///< entry i belongs to slot i
    bool mInUse[SlotCount];          ///< guarded by mMutex
    Mutex mMutex;
    Semaphore mSemaphore; ///< one count for each free slot; below the mutex, so that it is destroyed first
};

/// The pool of the process.
AsyncRequestPool &GetAsyncRequestPool();

/// Waits without limit until the platform has done with a control block; at once for one that was never started.
/// Gives what the platform's wait returned, or 0 where there was nothing to wait for.
int WaitForPlatform(const aiocb &controlBlock);

/// Waits for the read of a slot without limit, stores its results, and marks the slot as no longer in flight.
void CollectResult(AsyncRequest &request);
} // namespace Keld::MORV::Reader
