#include "KeldMorvIO/blocks/AsyncRequest.h"

#include "KeldMorvIO/blocks/AsyncRequestPool.h"
#include "KeldMorvIO/blocks/Descriptors.h"
#include "KeldMorvIO/blocks/Pipe.h"
#include "Support/InterruptingSignal.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <chrono>
#include <deque>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>

#include <dlfcn.h>
#include <pthread.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <unistd.h>

namespace
{
/// What the next transfers do: bytes at most, or the negative of an error. Empty: as the system does.
thread_local std::deque<int> gScript;
} // namespace

// Files in the page cache are never transferred in part, so the system's call is replaced in this program.
extern "C" ssize_t pread(int file, void *buffer, size_t size, off_t offset)
{
    using Call = ssize_t (*)(int, void *, size_t, off_t);
    static const Call system = reinterpret_cast<Call>(dlsym(RTLD_NEXT, "pread"));
    if (gScript.empty())
    {
        return system(file, buffer, size, offset);
    }
    const int step = gScript.front();
    gScript.pop_front();
    if (step < 0)
    {
        errno = -step;
        return -1;
    }
    return system(file, buffer, std::min(size, static_cast<size_t>(step)), offset);
}

// Reads on the calling thread: they have ended when they have begun.
namespace Keld::MORV::Reader
{
using Test::ClosedStandardInput;
using Test::InterruptingSignal;
using Test::Pipe;
using Test::TempTree;

namespace
{
class DirectAioTest : public testing::Test
{
protected:
    ~DirectAioTest() override
    {
        EXPECT_TRUE(gScript.empty());
        AsyncClose(mFile);
    }

    /// Bytes, with the transfers that a script gives; "error" and its number when the read fails.
    std::string Read(std::deque<int> script, uint64 offset, uint32 size)
    {
        std::string buffer(size, '#');
        gScript = std::move(script);
        AsyncRequest *const request = AsyncBeginRead(mFile, offset, size, buffer.data());
        const int32 error = AsyncGetError(request);
        const int32 bytes = AsyncGetBytesRead(request);
        AsyncRelease(request);
        EXPECT_EQ(bytes == -1, error != 0);
        return error != 0 ? "error " + std::to_string(error) : buffer.substr(0, static_cast<std::size_t>(bytes));
    }

    TempTree mTree;
    AsyncFile mFile = AsyncOpen(mTree.Write("file", "0123456789").c_str());
};

TEST_F(DirectAioTest, HasReadWhenTheReadHasBegun)
{
    std::string buffer(4, '#');
    const AsyncFile file = AsyncOpen(mTree.Path("file").c_str());
    AsyncRequest *const request = AsyncBeginRead(file, 3, 4, buffer.data());
    EXPECT_EQ(buffer, "3456");
    AsyncClose(file);
    EXPECT_EQ(request->mFile, file) << "not collected yet";
    EXPECT_TRUE(AsyncWait(request, 0));
    EXPECT_EQ(request->mFile, AsyncFile::Null);
    EXPECT_EQ(AsyncGetError(request), 0);
    EXPECT_EQ(AsyncGetBytesRead(request), 4);
    AsyncRelease(request);
}

TEST_F(DirectAioTest, FindsTheReadFinishedWithinAnyTime)
{
    for (const uint32 timeoutMs : {0U, 1U, 59'999U, 60'000U, 0xFFFFFFFEU})
    {
        char buffer[4] = {};
        AsyncRequest *const request = AsyncBeginRead(mFile, 8, 4, buffer);
        EXPECT_TRUE(AsyncWait(request, timeoutMs));
        EXPECT_EQ(AsyncGetError(request), 0);
        EXPECT_EQ(AsyncGetBytesRead(request), 2);
        AsyncRelease(request);
    }
}

TEST_F(DirectAioTest, CollectsInTheRelease)
{
    char buffer[4] = {};
    AsyncRequest *const request = AsyncBeginRead(mFile, 0, 4, buffer);
    EXPECT_EQ(request->mFile, mFile);
    AsyncRelease(request);
    EXPECT_EQ(request->mFile, AsyncFile::Null);
    EXPECT_EQ(request->mBytesRead, 4);
}

TEST_F(DirectAioTest, CountsAReadOfDescriptorZeroAsNotInFlight)
{
    const Pipe pipe;
    pipe.Write("data");
    const ClosedStandardInput closed;
    ASSERT_EQ(dup2(static_cast<int>(pipe.File()), STDIN_FILENO), STDIN_FILENO);
    std::string buffer(4, '#');
    AsyncRequest *const request = AsyncBeginRead(AsyncFile::Null, 0, 4, buffer.data());
    EXPECT_TRUE(AsyncWait(request, AsyncWaitForever));
    EXPECT_EQ(AsyncGetBytesRead(request), 0);
    EXPECT_EQ(AsyncGetError(request), 0);
    AsyncRelease(request);
    EXPECT_EQ(buffer, "data");
}

TEST_F(DirectAioTest, ContinuesATransferThatWasCutShort)
{
    EXPECT_EQ(Read({3}, 1, 7), "1234567");
    EXPECT_EQ(Read({3, 1, 2}, 1, 7), "1234567");
    EXPECT_EQ(Read({3, 2}, 4, 20), "456789") << "up to the end of the file";
    EXPECT_EQ(Read({3}, 7, 20), "789") << "which asks no more";
}

TEST_F(DirectAioTest, RepeatsATransferThatASignalStopped)
{
    EXPECT_EQ(Read({-EINTR, -EINTR}, 1, 7), "1234567");
    EXPECT_EQ(Read({3, -EINTR, 2, -EINTR}, 1, 7), "1234567");
    EXPECT_EQ(Read({-EINTR, -EIO}, 1, 7), "error " + std::to_string(EIO));
}

TEST_F(DirectAioTest, KeepsWhatCameWhenTheRestFails)
{
    EXPECT_EQ(Read({3, -EIO}, 1, 7), "123");
    EXPECT_EQ(Read({3, 2, -EIO}, 1, 7), "12345");
    EXPECT_EQ(Read({3, 0}, 1, 7), "123") << "a file that was cut in the meantime";
    EXPECT_EQ(Read({-EIO}, 1, 7), "error " + std::to_string(EIO));
}

TEST_F(DirectAioTest, GoesOnWaitingForAPipeWhenASignalComes)
{
    const InterruptingSignal signal;
    const Pipe pipe;
    std::string buffer(4, '#');
    std::atomic<bool> finished = false;
    std::thread reader(
        [&]
        {
            uint32 bytesRead = 0;
            EXPECT_TRUE(AsyncRead(pipe.File(), 0, 4, &bytesRead, buffer.data()));
            EXPECT_EQ(bytesRead, 4U);
            finished = true;
        });
    for (int round = 0; round < 200; ++round)
    {
        pthread_kill(reader.native_handle(), SIGUSR1);
        std::this_thread::sleep_for(std::chrono::microseconds(100));
        EXPECT_FALSE(finished);
    }
    pipe.Write("data");
    reader.join();
    EXPECT_EQ(buffer, "data");
}

/// Until a thread of this process sleeps in the system's read, which serves pipes.
void WaitUntilReading(const std::atomic<pid_t> &task)
{
    const std::string reading = std::to_string(SYS_read) + " ";
    constexpr int mostLooks = 10'000;
    std::string call;
    for (int look = 0; look < mostLooks && !call.starts_with(reading); ++look)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        std::ifstream told("/proc/self/task/" + std::to_string(task) + "/syscall");
        std::getline(told, call);
    }
    EXPECT_TRUE(call.starts_with(reading)) << call;
}

TEST_F(DirectAioTest, LetsFourReadsRunAndTheFifthSleep)
{
    const std::array<Pipe, 5> pipes;
    std::array<std::array<char, 4>, 5> buffers{};
    std::array<std::atomic<bool>, 5> finished{};
    std::array<std::atomic<pid_t>, 5> tasks{};
    const auto read = [&](uint_size index)
    {
        tasks[index] = gettid();
        uint32 bytesRead = 0;
        EXPECT_TRUE(AsyncRead(pipes[index].File(), 0, 4, &bytesRead, buffers[index].data()));
        EXPECT_EQ(bytesRead, 4U);
        finished[index] = true;
    };
    std::array<std::thread, 5> threads;
    for (uint_size index = 0; index < 4; ++index)
    {
        threads[index] = std::thread(read, index);
        WaitUntilReading(tasks[index]);
    }
    pipes[4].Write("five");
    threads[4] = std::thread(read, 4);
    std::this_thread::sleep_for(std::chrono::milliseconds(50));
    EXPECT_FALSE(finished[4]) << "the fifth read found a slot that was not free";
    pipes[2].Write("data");
    threads[4].join();
    threads[2].join();
    EXPECT_TRUE(finished[2]);
    for (const uint_size index : {0U, 1U, 3U})
    {
        EXPECT_FALSE(finished[index]);
        pipes[index].Write("data");
    }
    for (const uint_size index : {0U, 1U, 3U})
    {
        threads[index].join();
    }
    EXPECT_EQ(std::string(buffers[4].data(), 4), "five");
}

TEST_F(DirectAioTest, StartsNoThread)
{
    const auto tasks = []
    {
        const std::filesystem::directory_iterator all("/proc/self/task");
        return std::distance(begin(all), end(all));
    };
    const auto before = tasks();
    EXPECT_EQ(Read({}, 0, 10), "0123456789");
    EXPECT_EQ(tasks(), before);
}

TEST_F(DirectAioTest, ServesAChildOfFork)
{
    EXPECT_EQ(Read({}, 0, 10), "0123456789");
    const pid_t child = fork();
    if (child == 0)
    {
        _exit(Read({}, 2, 5) == "23456" ? 0 : 1);
    }
    int status = 0;
    ASSERT_EQ(waitpid(child, &status, 0), child);
    EXPECT_EQ(status, 0);
}
} // namespace
} // namespace Keld::MORV::Reader
