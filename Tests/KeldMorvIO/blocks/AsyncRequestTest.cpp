#include "KeldMorvIO/blocks/AsyncRequest.h"

#include "KeldMorvIO/blocks/AsyncRequestPool.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <cstring>
#include <future>
#include <string>
#include <thread>

#include <fcntl.h>
#include <signal.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
using Test::ReaderLogCapture;
using Test::TempTree;

namespace
{
/// A pipe, whose reads stay in flight until something is written.
class Pipe
{
public:
    Pipe() { EXPECT_EQ(pipe2(mEnds, O_CLOEXEC), 0); }
    ~Pipe()
    {
        close(mEnds[0]);
        close(mEnds[1]);
    }
    Pipe(const Pipe &) = delete;
    Pipe &operator=(const Pipe &) = delete;

    AsyncFile File() const { return static_cast<AsyncFile>(mEnds[0]); }
    void Write(std::string_view text) const
    {
        EXPECT_EQ(write(mEnds[1], text.data(), text.size()), static_cast<ssize_t>(text.size()));
    }

private:
    int mEnds[2] = {-1, -1};
};

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

void IgnoreSignal(int) {}

/// Lets SIGUSR1 interrupt what a thread sleeps in.
class InterruptingSignal
{
public:
    InterruptingSignal()
    {
        struct sigaction action = {};
        action.sa_handler = IgnoreSignal;
        EXPECT_EQ(sigaction(SIGUSR1, &action, &mBefore), 0);
    }
    ~InterruptingSignal() { sigaction(SIGUSR1, &mBefore, nullptr); }
    InterruptingSignal(const InterruptingSignal &) = delete;
    InterruptingSignal &operator=(const InterruptingSignal &) = delete;

private:
    struct sigaction mBefore = {};
};

class AsyncRequestTest : public testing::Test
{
protected:
    TempTree mTree;
};

TEST_F(AsyncRequestTest, CarriesOneReadFromItsStartToItsResult)
{
    const AsyncFile file = AsyncOpen(mTree.Write("file", "0123456789").c_str());
    char buffer[4] = {};
    AsyncRequest *const request = AsyncBeginRead(file, 8, 4, buffer);
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(request->mFile, file);
    EXPECT_EQ(request->mControlBlock->aio_sigevent.sigev_notify, SIGEV_NONE);
    EXPECT_EQ(request->mControlBlock->aio_lio_opcode & LIO_WRITE, 0);
    EXPECT_TRUE(AsyncWait(request, AsyncWaitForever));
    EXPECT_EQ(request->mFile, AsyncFile::Null);
    EXPECT_EQ(AsyncGetBytesRead(request), 2);
    EXPECT_EQ(AsyncGetError(request), 0);
    EXPECT_EQ(std::string(buffer, 2), "89");
    AsyncRelease(request);
    AsyncClose(file);
}

TEST_F(AsyncRequestTest, WaitsInEachResultCallWhileTheReadIsInFlight)
{
    const Pipe pipe;
    char buffer[4] = {};
    const std::array<int (*)(AsyncRequest *), 3> calls = {
        [](AsyncRequest *request)
        {
            return AsyncGetBytesRead(request);
        },
        [](AsyncRequest *request)
        {
            return AsyncGetError(request) + 4;
        },
        [](AsyncRequest *request)
        {
            return AsyncGetErrorText(request)[0] != '\0' ? 4 : 0;
        },
    };
    for (const auto call : calls)
    {
        AsyncRequest *const request = AsyncBeginRead(pipe.File(), 0, 4, buffer);
        ASSERT_NE(request, nullptr);
        auto result = std::async(std::launch::async, call, request);
        pipe.Write("data");
        EXPECT_EQ(result.get(), 4);
        EXPECT_EQ(request->mFile, AsyncFile::Null);
        EXPECT_EQ(request->mBytesRead, 4);
        EXPECT_EQ(std::string(buffer, 4), "data");
        AsyncRelease(request);
    }
}

TEST_F(AsyncRequestTest, StartsNoReadForASizeOfZero)
{
    AsyncRequest *const request = AsyncBeginRead(static_cast<AsyncFile>(1'000'000), 0, 0, nullptr);
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(request->mFile, AsyncFile::Null);
    EXPECT_TRUE(AsyncWait(request, 0));
    EXPECT_EQ(AsyncGetBytesRead(request), 0);
    EXPECT_EQ(AsyncGetError(request), 0);
    AsyncRelease(request);
}

TEST_F(AsyncRequestTest, TellsTheErrorOfAFailedReadInWords)
{
    char buffer[4] = {};
    AsyncRequest *const request = AsyncBeginRead(static_cast<AsyncFile>(1'000'000), 0, 4, buffer);
    ASSERT_NE(request, nullptr);
    EXPECT_EQ(AsyncGetError(request), EBADF);
    EXPECT_EQ(AsyncGetBytesRead(request), -1);
    EXPECT_STREQ(AsyncGetErrorText(request), std::strerror(EBADF));
    AsyncRelease(request);
}

TEST_F(AsyncRequestTest, FetchesTheErrorTextOnce)
{
    AsyncRequest *const request = AsyncBeginRead(AsyncFile::Null, 0, 0, nullptr);
    ASSERT_NE(request, nullptr);
    request->mError = ENOENT;
    EXPECT_STREQ(AsyncGetErrorText(request), std::strerror(ENOENT));
    request->mError = EBADF;
    EXPECT_STREQ(AsyncGetErrorText(request), std::strerror(ENOENT));
    EXPECT_EQ(AsyncGetErrorText(request), request->mErrorText);
    AsyncRelease(request);
}

TEST_F(AsyncRequestTest, SaysSoWhereAnErrorNumberHasNoText)
{
    AsyncRequest *const request = AsyncBeginRead(AsyncFile::Null, 0, 0, nullptr);
    ASSERT_NE(request, nullptr);
    request->mError = 99999;
    EXPECT_STREQ(AsyncGetErrorText(request), "Failed to get error text");
    AsyncRelease(request);
}

TEST_F(AsyncRequestTest, HandsOutASlotCleared)
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

TEST_F(AsyncRequestTest, CountsAReadAsFinishedWhenTimeRunsOut)
{
    const Pipe pipe;
    char buffer[4] = {};
    AsyncRequest *const request = AsyncBeginRead(pipe.File(), 0, 4, buffer);
    ASSERT_NE(request, nullptr);
    EXPECT_TRUE(AsyncWait(request, 1));
    EXPECT_EQ(AsyncGetError(request), EINPROGRESS);
    EXPECT_EQ(request->mFile, AsyncFile::Null);
    pipe.Write("data");
    AsyncRelease(request);
    EXPECT_EQ(std::string(buffer, 4), "data") << "the release waits for a read that was given up";
}

TEST_F(AsyncRequestTest, WaitsInTheReleaseForAReadInFlight)
{
    const Pipe pipe;
    std::string buffer(4, '#');
    AsyncRequest *const request = AsyncBeginRead(pipe.File(), 0, 4, buffer.data());
    ASSERT_NE(request, nullptr);
    std::thread writer(
        [&pipe]
        {
            pipe.Write("late");
        });
    AsyncRelease(request);
    EXPECT_EQ(buffer, "late");
    writer.join();
}

TEST_F(AsyncRequestTest, LetsFourReadsRunAndTheFifthSleep)
{
    const std::array<Pipe, 5> pipes;
    std::array<std::array<char, 4>, 5> buffers{};
    std::array<AsyncRequest *, 4> requests{};
    for (uint_size index = 0; index < requests.size(); ++index)
    {
        requests[index] = AsyncBeginRead(pipes[index].File(), 0, 4, buffers[index].data());
        ASSERT_NE(requests[index], nullptr);
        EXPECT_EQ(requests[index]->mFile, pipes[index].File());
    }
    pipes[4].Write("five");
    std::atomic<bool> released = false;
    std::atomic<bool> releasedBefore = false;
    std::thread fifth(
        [&]
        {
            uint32 bytesRead = 0;
            EXPECT_TRUE(AsyncRead(pipes[4].File(), 0, 4, &bytesRead, buffers[4].data()));
            EXPECT_EQ(bytesRead, 4U);
            releasedBefore = released.load();
        });
    for (uint_size index = 0; index < requests.size(); ++index)
    {
        pipes[index].Write("data");
        EXPECT_EQ(AsyncGetBytesRead(requests[index]), 4);
    }
    released = true;
    AsyncRelease(requests[2]);
    fifth.join();
    EXPECT_TRUE(releasedBefore) << "the fifth read found a slot that was not free";
    for (const uint_size index : {0U, 1U, 3U})
    {
        AsyncRelease(requests[index]);
    }
    EXPECT_EQ(std::string(buffers[4].data(), 4), "five");
}

TEST_F(AsyncRequestTest, TakesTheFirstFreeSlot)
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

TEST_F(AsyncRequestTest, GivesUpTheSleepForASlotWhenASignalComes)
{
    const InterruptingSignal signal;
    const AllSlots slots;
    std::atomic<bool> finished = false;
    std::thread reader(
        [&finished]
        {
            char buffer[4] = {};
            uint32 bytesRead = 77;
            EXPECT_FALSE(AsyncRead(AsyncFile::Null, 0, 4, &bytesRead, buffer));
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

TEST_F(AsyncRequestTest, GoesOnWaitingForAReadWhenASignalComes)
{
    const InterruptingSignal signal;
    const Pipe pipe;
    std::string buffer(4, '#');
    AsyncRequest *const request = AsyncBeginRead(pipe.File(), 0, 4, buffer.data());
    ASSERT_NE(request, nullptr);
    std::atomic<bool> finished = false;
    std::thread waiter(
        [&]
        {
            EXPECT_TRUE(AsyncWait(request, AsyncWaitForever));
            finished = true;
        });
    for (int round = 0; round < 200; ++round)
    {
        pthread_kill(waiter.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::microseconds(100));
        EXPECT_FALSE(finished);
    }
    pipe.Write("data");
    waiter.join();
    EXPECT_EQ(AsyncGetError(request), 0);
    EXPECT_EQ(AsyncGetBytesRead(request), 4);
    EXPECT_EQ(buffer, "data");
    AsyncRelease(request);
}

TEST_F(AsyncRequestTest, CountsAReadOfDescriptorZeroAsNotInFlight)
{
    const Pipe pipe;
    const int saved = dup(STDIN_FILENO);
    ASSERT_EQ(dup2(static_cast<int>(pipe.File()), STDIN_FILENO), STDIN_FILENO);
    std::string buffer(4, '#');
    AsyncRequest *const request = AsyncBeginRead(AsyncFile::Null, 0, 4, buffer.data());
    ASSERT_NE(request, nullptr);
    EXPECT_TRUE(AsyncWait(request, AsyncWaitForever));
    EXPECT_EQ(AsyncGetBytesRead(request), 0);
    EXPECT_EQ(AsyncGetError(request), 0);
    pipe.Write("data");
    AsyncRelease(request);
    EXPECT_EQ(buffer, "data") << "the release waits all the same, since the platform writes to the buffer";
    saved == -1 ? close(STDIN_FILENO) : dup2(saved, STDIN_FILENO);
    close(saved);
}

TEST_F(AsyncRequestTest, IgnoresTheReleaseOfAPointerFromOutside)
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

TEST_F(AsyncRequestTest, PostsNothingForASlotThatIsFree)
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

TEST_F(AsyncRequestTest, LogsNothing)
{
    ReaderLogCapture log;
    char buffer[4] = {};
    AsyncRequest *const request = AsyncBeginRead(static_cast<AsyncFile>(1'000'000), 0, 4, buffer);
    AsyncGetErrorText(request);
    AsyncRelease(request);
    AsyncRelease(nullptr);
    log.ExpectAll({});
}
} // namespace
} // namespace Keld::MORV::Reader
