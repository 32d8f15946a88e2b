#include "KeldMorvIO/blocks/AsyncRequest.h"

#include "KeldMorvIO/blocks/AsyncRequestPool.h"
#include "KeldMorvIO/blocks/Descriptors.h"
#include "KeldMorvIO/blocks/Pipe.h"
#include "Support/InterruptingSignal.h"
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

#include <aio.h>
#include <pthread.h>
#include <signal.h>
#include <sys/resource.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
using Test::ClosedStandardInput;
using Test::InterruptingSignal;
using Test::Pipe;
using Test::ReaderLogCapture;
using Test::TempTree;

namespace
{
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

TEST_F(AsyncRequestTest, ReadsAsFinishedWhenThePlatformCannotStartIt)
{
    const AsyncFile file = AsyncOpen(mTree.Write("file", "data").c_str());
    EXPECT_EXIT(_exit(ReadWithoutThreads(file) ? 0 : 1), testing::ExitedWithCode(0), "");
    AsyncClose(file);
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

TEST_F(AsyncRequestTest, GivesTheResultWhenTheReadEndsInTime)
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
