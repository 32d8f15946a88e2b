#include "KeldFoundation/sync/Semaphore.h"

#include "Support/InterruptingSignal.h"

#include <gtest/gtest.h>

#include <atomic>
#include <cerrno>
#include <chrono>
#include <string>
#include <thread>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

namespace Keld::Test
{
namespace
{
class SemaphoreTest : public ::testing::Test
{
protected:
    SemaphoreTest() : mName("/keld-semaphore-test-" + std::to_string(getpid())) { sem_unlink(mName.c_str()); }
    ~SemaphoreTest() override { sem_unlink(mName.c_str()); }

    const char *Name() const { return mName.c_str(); }

    bool NameExists() const
    {
        sem_t *const semaphore = sem_open(Name(), 0);
        if (semaphore == SEM_FAILED)
        {
            return false;
        }
        sem_close(semaphore);
        return true;
    }

    std::string mName;
};

TEST_F(SemaphoreTest, APrivateOneCountsDownToZeroAndUpAgain)
{
    Semaphore semaphore(2);
    EXPECT_TRUE(semaphore.IsValid());
    EXPECT_TRUE(semaphore.Wait());
    EXPECT_TRUE(semaphore.TryWait());
    EXPECT_FALSE(semaphore.TryWait());
    EXPECT_TRUE(semaphore.Post());
    EXPECT_TRUE(semaphore.Wait());
    EXPECT_FALSE(semaphore.TryWait());
}

TEST_F(SemaphoreTest, AWaiterGoesOnWhenAnotherThreadPosts)
{
    Semaphore semaphore(0);
    std::atomic<bool> posted{false};
    bool sawThePost = false;
    std::thread waiter(
        [&]
        {
            semaphore.Wait();
            sawThePost = posted.load();
        });
    posted.store(true);
    semaphore.Post();
    waiter.join();
    EXPECT_TRUE(sawThePost);
}

TEST_F(SemaphoreTest, AWaitThatASignalEndsFailsAndTakesNothing)
{
    const InterruptingSignal signal;
    Semaphore semaphore(0);
    std::atomic<bool> ended{false};
    bool taken = true;
    int error = 0;
    std::thread waiter(
        [&]
        {
            taken = semaphore.Wait();
            error = errno;
            ended.store(true);
        });
    for (int round = 0; round < 10000 && !ended.load(); ++round) // the first ones may come before the wait
    {
        pthread_kill(waiter.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    semaphore.Post();
    waiter.join();
    EXPECT_FALSE(taken);
    EXPECT_EQ(error, EINTR);
    EXPECT_TRUE(semaphore.TryWait());
}

TEST_F(SemaphoreTest, PrivateOnesAreIndependent)
{
    Semaphore first(1);
    Semaphore second(1);
    EXPECT_TRUE(first.TryWait());
    EXPECT_TRUE(second.TryWait());
}

TEST_F(SemaphoreTest, JoiningANameThatDoesNotExistGivesNothingAndLeavesNoName)
{
    for (const int count : {0, -1})
    {
        Semaphore semaphore(Name(), count);
        EXPECT_FALSE(semaphore.IsValid()) << count;
        EXPECT_FALSE(NameExists()) << count;
    }
}

TEST_F(SemaphoreTest, AnInvalidOneRefusesEveryCall)
{
    Semaphore semaphore(Name(), 0);
    EXPECT_FALSE(semaphore.Wait());
    EXPECT_FALSE(semaphore.TryWait());
    EXPECT_FALSE(semaphore.Post());
}

TEST_F(SemaphoreTest, ANameThatTheSystemRefusesGivesAnInvalidObject)
{
    Semaphore semaphore("/two/slashes", 1);
    EXPECT_FALSE(semaphore.IsValid());
}

TEST_F(SemaphoreTest, TheSecondOfANameJoinsAndShares)
{
    Semaphore owner(Name(), 1);
    Semaphore joined(Name(), 1);
    ASSERT_TRUE(owner.IsValid());
    ASSERT_TRUE(joined.IsValid());
    EXPECT_TRUE(owner.TryWait());
    EXPECT_FALSE(joined.TryWait());
    EXPECT_TRUE(joined.Post());
    EXPECT_TRUE(owner.TryWait());
}

TEST_F(SemaphoreTest, ACountBelowOneJoinsAnExistingName)
{
    Semaphore owner(Name(), 1);
    for (const int count : {0, -1})
    {
        Semaphore joined(Name(), count);
        ASSERT_TRUE(joined.IsValid()) << count;
        EXPECT_TRUE(joined.TryWait());
        EXPECT_FALSE(owner.TryWait());
        EXPECT_TRUE(joined.Post());
    }
}

TEST_F(SemaphoreTest, OnlyTheOwnerRemovesTheName)
{
    {
        Semaphore owner(Name(), 1);
        {
            Semaphore joined(Name(), 1);
            EXPECT_TRUE(joined.IsValid());
        }
        EXPECT_TRUE(NameExists());
        EXPECT_TRUE(owner.TryWait());
    }
    EXPECT_FALSE(NameExists());
}

TEST_F(SemaphoreTest, AJoinerThatOutlivesTheOwnerKeepsTheSemaphoreButNotTheName)
{
    auto *const owner = new Semaphore(Name(), 1);
    Semaphore joined(Name(), 1);
    delete owner;
    EXPECT_FALSE(NameExists());
    EXPECT_TRUE(joined.TryWait());
    EXPECT_TRUE(joined.Post());
}

TEST_F(SemaphoreTest, RemoveTakesAStaleNameAway)
{
    sem_t *const stale = sem_open(Name(), O_CREAT, 0666, 3u);
    ASSERT_NE(stale, SEM_FAILED);
    sem_close(stale);
    SemaphoreRemove(Name());
    EXPECT_FALSE(NameExists());
}

TEST_F(SemaphoreTest, RemoveOfANameThatDoesNotExistLeavesNone)
{
    SemaphoreRemove(Name());
    EXPECT_FALSE(NameExists());
    SemaphoreRemove("/two/slashes");
    EXPECT_FALSE(NameExists());
}

TEST(SemaphoreDeathTest, APrivateOneThatCannotBeMadeEndsTheProcess)
{
    EXPECT_EXIT(Semaphore(-1), testing::KilledBySignal(SIGILL), "");
}
} // namespace
} // namespace Keld::Test
