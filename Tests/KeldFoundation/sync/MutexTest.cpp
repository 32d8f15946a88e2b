#include "KeldFoundation/sync/Mutex.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>
#include <vector>

namespace Keld::Test
{
namespace
{
constexpr int ThreadCount = 4;
constexpr int RoundCount = 2000;

TEST(MutexTest, KeepsThreadsApart)
{
    Mutex mutex;
    int total = 0; // guarded by mutex
    std::vector<std::thread> threads;
    threads.reserve(ThreadCount);
    for (int thread = 0; thread < ThreadCount; ++thread)
    {
        threads.emplace_back(
            [&]
            {
                for (int round = 0; round < RoundCount; ++round)
                {
                    const MutexLock lock(mutex);
                    ++total;
                }
            });
    }
    for (std::thread &thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(total, ThreadCount * RoundCount);
}

TEST(MutexTest, ARecursiveMutexNeedsAsManyUnlocksAsLocks)
{
    Mutex mutex(true);
    mutex.Lock();
    mutex.Lock();
    mutex.Unlock();

    std::atomic<bool> entered{false};
    std::atomic<bool> released{false};
    bool waitedForTheSecondUnlock = false;
    std::thread other(
        [&]
        {
            const MutexLock lock(mutex);
            waitedForTheSecondUnlock = released.load();
            entered.store(true);
        });
    std::this_thread::yield();
    EXPECT_FALSE(entered.load());
    released.store(true);
    mutex.Unlock();
    other.join();
    EXPECT_TRUE(entered.load());
    EXPECT_TRUE(waitedForTheSecondUnlock);
}

TEST(MutexTest, TheGuardReleasesWhenAnExceptionPasses)
{
    Mutex mutex;
    EXPECT_THROW(
        {
            const MutexLock lock(mutex);
            throw 1;
        },
        int);
    bool entered = false;
    std::thread other(
        [&]
        {
            const MutexLock lock(mutex);
            entered = true;
        });
    other.join();
    EXPECT_TRUE(entered);
}
} // namespace
} // namespace Keld::Test
