#include "KeldMorvIO/blocks/AsyncRequest.h"

#include "KeldMorvIO/blocks/AsyncRequestPool.h"
#include "KeldMorvIO/blocks/Descriptors.h"
#include "KeldMorvIO/blocks/Pipe.h"
#include "Support/InterruptingSignal.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <future>
#include <string>
#include <thread>

#include <pthread.h>
#include <sys/resource.h>
#include <unistd.h>

// Reads through the platform's own asynchronous calls: they are in flight between their start and their result.
namespace Keld::MORV::Reader
{
using Test::ClosedStandardInput;
using Test::InterruptingSignal;
using Test::Pipe;
using Test::TempTree;

namespace
{
TEST(PlatformAioTest, WaitsInEachResultCallWhileTheReadIsInFlight)
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

/// In a process that can have no more threads, and so no helper of the platform: gives whether a read that cannot be
/// started reads as finished with that error.
bool ReadWithoutThreads(AsyncFile file)
{
    const rlimit none{0, 0};
    // The limit binds nobody but ordinary users.
    if (setrlimit(RLIMIT_NPROC, &none) != 0 || (geteuid() == 0 && setuid(65534) != 0))
    {
        return false;
    }
    char buffer[4];
    AsyncRequest *const request = AsyncBeginRead(file, 0, 4, buffer);
    const bool finished = request != nullptr && request->mFile == AsyncFile::Null && AsyncWait(request, 0) &&
                          AsyncGetError(request) == EAGAIN && AsyncGetBytesRead(request) == 0;
    AsyncRelease(request);
    uint32 bytesRead = 77;
    return finished && !AsyncRead(file, 0, 4, &bytesRead, buffer) && bytesRead == 0;
}

TEST(PlatformAioTest, ReadsAsFinishedWhenThePlatformCannotStartIt)
{
    const TempTree tree;
    const AsyncFile file = AsyncOpen(tree.Write("file", "data").c_str());
    EXPECT_EXIT(_exit(ReadWithoutThreads(file) ? 0 : 1), testing::ExitedWithCode(0), "");
    AsyncClose(file);
}

TEST(PlatformAioTest, GivesTheResultWhenTheReadEndsInTime)
{
    const Pipe pipe;
    for (const uint32 timeoutMs : {59'999U, 60'000U, 0xFFFFFFFEU})
    {
        std::string buffer(4, '#');
        AsyncRequest *const request = AsyncBeginRead(pipe.File(), 0, 4, buffer.data());
        ASSERT_NE(request, nullptr);
        auto result = std::async(std::launch::async, AsyncWait, request, timeoutMs);
        pipe.Write("data");
        EXPECT_TRUE(result.get());
        EXPECT_EQ(AsyncGetError(request), 0) << timeoutMs;
        EXPECT_EQ(AsyncGetBytesRead(request), 4) << timeoutMs;
        EXPECT_EQ(buffer, "data");
        AsyncRelease(request);
    }
}

TEST(PlatformAioTest, CountsAReadAsFinishedWhenTimeRunsOut)
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

TEST(PlatformAioTest, WaitsInTheReleaseForAReadInFlight)
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

TEST(PlatformAioTest, GoesOnWaitingForAReadWhenASignalComes)
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

TEST(PlatformAioTest, CountsAReadOfDescriptorZeroAsNotInFlight)
{
    const Pipe pipe;
    const ClosedStandardInput closed;
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
}

TEST(PlatformAioTest, LetsFourReadsRunAndTheFifthSleep)
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
} // namespace
} // namespace Keld::MORV::Reader
