#include "KeldMorvIO/blocks/AsyncRequestPool.h"

#include "KeldMorvIO/blocks/AsyncRequest.h"
#include "KeldMorvIO/blocks/Pipe.h"
#include "Support/InterruptingSignal.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <chrono>
#include <string>
#include <thread>

namespace Keld::MORV::Reader
{
using Test::InterruptingSignal;

namespace
{
/// Reads no bytes, which takes a slot and gives it back, before `main` and among the static objects of others.
const bool gReadBeforeMain = AsyncRead(AsyncFile::Null, 0, 0, nullptr, nullptr);

/// Takes every slot of the process, without a read.
class AllSlots
{
public:
    AllSlots()
    {
        for (AsyncRequest *&request : mRequests)
        {
            request = AsyncBeginRead(AsyncFile::Null, 0, 0, nullptr);
            EXPECT_NE(request, nullptr);
        }
    }
    ~AllSlots()
    {
        for (AsyncRequest *const request : mRequests)
        {
            AsyncRelease(request);
        }
    }
    AllSlots(const AllSlots &) = delete;
    AllSlots &operator=(const AllSlots &) = delete;

    AsyncRequest *operator[](uint_size index) const { return mRequests[index]; }
    void ReleaseOne(uint_size index)
    {
        AsyncRelease(mRequests[index]);
        mRequests[index] = nullptr;
    }

private:
    std::array<AsyncRequest *, AsyncRequestPool::SlotCount> mRequests{};
};

TEST(AsyncRequestPoolTest, IsThereBeforeTheStaticObjectsOfOthers)
{
    EXPECT_TRUE(gReadBeforeMain);
}

TEST(AsyncRequestPoolTest, HandsOutASlotCleared)
{
    char buffer[4] = {};
    AsyncRequest *const used = AsyncBeginRead(static_cast<AsyncFile>(1'000'000), 0, 4, buffer);
    ASSERT_NE(used, nullptr);
    AsyncGetErrorText(used);
    AsyncRelease(used);
    AsyncRequest *const request = AsyncBeginRead(AsyncFile::Null, 0, 0, nullptr);
    ASSERT_EQ(request, used);
    EXPECT_EQ(request->mError, 0);
    EXPECT_EQ(request->mBytesRead, 0);
    EXPECT_STREQ(request->mErrorText, "");
    EXPECT_EQ(request->mControlBlock->aio_nbytes, 0U);
    AsyncRelease(request);
}

TEST(AsyncRequestPoolTest, TakesTheFirstFreeSlot)
{
    AllSlots slots;
    for (const uint_size index : {3U, 1U})
    {
        AsyncRequest *const before = slots[index];
        slots.ReleaseOne(index);
        AsyncRequest *const request = AsyncBeginRead(AsyncFile::Null, 0, 0, nullptr);
        EXPECT_EQ(request, before);
        AsyncRelease(request);
    }
    AsyncRequest *const request = AsyncBeginRead(AsyncFile::Null, 0, 0, nullptr);
    EXPECT_EQ(request, slots[0] + 1);
    AsyncRelease(request);
}

TEST(AsyncRequestPoolTest, GivesUpTheSleepForASlotWhenASignalComes)
{
    const InterruptingSignal signal;
    const AllSlots slots;
    for (const uint32 size : {4U, 0U}) // nothing to read, and still it wants a slot
    {
        std::atomic<bool> finished = false;
        std::thread reader(
            [&finished, size]
            {
                char buffer[4] = {};
                uint32 bytesRead = 77;
                EXPECT_FALSE(AsyncRead(AsyncFile::Null, 0, size, &bytesRead, buffer));
                EXPECT_EQ(bytesRead, 77U);
                finished = true;
            });
        const pthread_t thread = reader.native_handle();
        while (!finished)
        {
            pthread_kill(thread, SIGUSR1);
            std::this_thread::yield();
        }
        reader.join();
    }
}

TEST(AsyncRequestPoolTest, IgnoresTheReleaseOfAPointerFromOutside)
{
    AllSlots slots;
    AsyncRequest stranger{};
    AsyncRelease(&stranger);
    AsyncRelease(nullptr);
    AsyncRelease(slots[0] + AsyncRequestPool::SlotCount);
    slots.ReleaseOne(0);
    AsyncRequest *const request = AsyncBeginRead(AsyncFile::Null, 0, 0, nullptr);
    EXPECT_NE(request, nullptr);
    AsyncRelease(request);
}

TEST(AsyncRequestPoolTest, PostsNothingForASlotThatIsFree)
{
    AsyncRequestPool pool;
    std::array<AsyncRequest *, AsyncRequestPool::SlotCount> requests{};
    for (AsyncRequest *&request : requests)
    {
        request = pool.AsyncAcquire();
        ASSERT_NE(request, nullptr);
    }
    pool.AsyncRelease(requests[1]);
    pool.AsyncRelease(requests[1]);
    pool.AsyncRelease(requests[1]);
    EXPECT_EQ(pool.AsyncAcquire(), requests[1]);
    // A count posted too often would let the next acquire through, to find no slot, instead of putting it to sleep.
    const InterruptingSignal signal;
    std::atomic<bool> finished = false;
    std::atomic<bool> signalled = false;
    std::atomic<bool> slept = false;
    std::thread fifth(
        [&]
        {
            EXPECT_EQ(pool.AsyncAcquire(), nullptr);
            slept = signalled.load();
            finished = true;
        });
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    signalled = true;
    while (!finished)
    {
        pthread_kill(fifth.native_handle(), SIGUSR1);
        std::this_thread::yield();
    }
    fifth.join();
    EXPECT_TRUE(slept);
    for (AsyncRequest *const request : requests)
    {
        pool.AsyncRelease(request);
    }
}
} // namespace
} // namespace Keld::MORV::Reader
