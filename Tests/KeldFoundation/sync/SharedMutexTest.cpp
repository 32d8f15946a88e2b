#include "KeldFoundation/sync/SharedMutex.h"

#include <gtest/gtest.h>

#include <thread>

namespace Keld::Test
{
namespace
{
TEST(SharedMutexTest, CopiesHoldTheSameMutex)
{
    SharedMutex first;
    const SharedMutex second = first;
    EXPECT_EQ(&first.Get(), &second.Get());

    first = SharedMutex();
    EXPECT_NE(&first.Get(), &second.Get());
    const MutexLock outer(first.Get());
    const MutexLock inner(second.Get());
}

TEST(SharedMutexTest, LocksLikeTheMutexItWasBuiltFrom)
{
    const SharedMutex shared;
    int total = 0; // guarded by the shared mutex
    std::thread other(
        [&, copy = shared]
        {
            for (int round = 0; round < 1000; ++round)
            {
                const MutexLock lock(copy.Get());
                ++total;
            }
        });
    for (int round = 0; round < 1000; ++round)
    {
        const MutexLock lock(shared.Get());
        ++total;
    }
    other.join();
    EXPECT_EQ(total, 2000);
}

TEST(SharedMutexTest, ARecursiveOneMayBeLockedTwice)
{
    const SharedMutex shared(true);
    shared.Get().Lock();
    shared.Get().Lock();
    shared.Get().Unlock();
    shared.Get().Unlock();
    bool locked = false;
    std::thread other(
        [&]
        {
            const MutexLock lock(shared.Get());
            locked = true;
        });
    other.join();
    EXPECT_TRUE(locked);
}
} // namespace
} // namespace Keld::Test
