#include "KeldMorvIO/blocks/AsyncRequest.h"

#include "KeldMorvIO/blocks/AsyncRequestPool.h"
#include "KeldMorvIO/blocks/Pipe.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

// What a read gives, whatever stands below the pool.
namespace Keld::MORV::Reader
{
using Test::Pipe;
using Test::TempTree;

namespace
{
struct ReadResult
{
    int32 error;
    int32 bytesRead;
    bool begun; ///< in flight until it was collected
    int callersError;
};

/// One read from start to release. Results are asked for twice: after they were collected, too.
ReadResult Read(int file, uint64 offset, uint32 size, void *buffer)
{
    constexpr int before = 4711;
    errno = before;
    AsyncRequest *const request = AsyncBeginRead(static_cast<AsyncFile>(file), offset, size, buffer);
    const bool begun = request->mFile == static_cast<AsyncFile>(file);
    EXPECT_TRUE(AsyncWait(request, AsyncWaitForever));
    EXPECT_EQ(request->mFile, AsyncFile::Null);
    ReadResult result{AsyncGetError(request), AsyncGetBytesRead(request), begun, 0};
    EXPECT_EQ(AsyncGetError(request), result.error);
    EXPECT_EQ(AsyncGetBytesRead(request), result.bytesRead);
    AsyncRelease(request);
    result.callersError = errno == before ? 0 : errno;
    return result;
}

void ExpectBytes(int32 bytes, const ReadResult &result)
{
    EXPECT_EQ(result.bytesRead, bytes);
    EXPECT_EQ(result.error, 0);
    EXPECT_TRUE(result.begun);
    EXPECT_EQ(result.callersError, 0);
}

void ExpectError(int32 error, const ReadResult &result)
{
    EXPECT_EQ(result.bytesRead, -1);
    EXPECT_EQ(result.error, error);
    EXPECT_TRUE(result.begun);
    EXPECT_EQ(result.callersError, 0);
}

class ReadResultsTest : public testing::Test
{
protected:
    ~ReadResultsTest() override { close(mFile); }

    TempTree mTree;
    int mFile = open(mTree.Write("file", "0123456789").c_str(), O_RDONLY | O_CLOEXEC);
    char mBuffer[16] = {};
};

TEST_F(ReadResultsTest, TheBytesOfTheFileUpToItsEnd)
{
    ExpectBytes(4, Read(mFile, 2, 4, mBuffer));
    EXPECT_STREQ(mBuffer, "2345");
    ExpectBytes(3, Read(mFile, 7, 16, mBuffer));
    EXPECT_STREQ(mBuffer, "7895");
    ExpectBytes(0, Read(mFile, 10, 16, mBuffer));
    ExpectBytes(0, Read(mFile, uint64{1} << 40, 16, mBuffer));
}

TEST_F(ReadResultsTest, AnErrorForOffsetsThatAreNegativeToThePlatform)
{
    for (const uint64 offset : {uint64{1} << 63, (uint64{1} << 63) + 5, ~uint64{0} - 1, ~uint64{0}})
    {
        ExpectError(EINVAL, Read(mFile, offset, 4, mBuffer));
    }
    EXPECT_STREQ(mBuffer, "");
    EXPECT_EQ(lseek(mFile, 0, SEEK_CUR), 0);
}

TEST_F(ReadResultsTest, AnErrorForDescriptorsThatCannotBeRead)
{
    ExpectError(EBADF, Read(1'000'000, 0, 4, mBuffer));
    ExpectError(EBADF, Read(-1, 0, 4, mBuffer));
    const int closed = dup(mFile);
    close(closed);
    ExpectError(EBADF, Read(closed, 0, 4, mBuffer));
    const int writeOnly = open(mTree.Path("file").c_str(), O_WRONLY | O_CLOEXEC);
    ExpectError(EBADF, Read(writeOnly, 0, 4, mBuffer));
    close(writeOnly);
    const int directory = open(mTree.Root().c_str(), O_RDONLY | O_CLOEXEC);
    ExpectError(EISDIR, Read(directory, 0, 4, mBuffer));
    close(directory);
}

TEST_F(ReadResultsTest, AnErrorForABufferThatCannotBeWritten)
{
    void *const locked = mmap(nullptr, 4096, PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    for (void *const buffer : {static_cast<void *>(nullptr), locked})
    {
        ExpectError(EFAULT, Read(mFile, 0, 4, buffer));
        ExpectBytes(0, Read(mFile, 10, 4, buffer));
        ExpectBytes(0, Read(mFile, 1000, 4, buffer));
    }
    munmap(locked, 4096);
}

TEST_F(ReadResultsTest, WhatAPipeHoldsWhateverTheOffset)
{
    const Pipe pipe;
    pipe.Write("abcdef");
    ExpectBytes(4, Read(static_cast<int>(pipe.File()), 1000, 4, mBuffer));
    EXPECT_STREQ(mBuffer, "abcd");
    ExpectBytes(2, Read(static_cast<int>(pipe.File()), 0, 16, mBuffer));
    EXPECT_STREQ(mBuffer, "efcd");
    ExpectError(EINVAL, Read(static_cast<int>(pipe.File()), ~uint64{0}, 4, mBuffer));
}

TEST_F(ReadResultsTest, NoBytesFromAFifoThatNobodyWritesTo)
{
    const std::string path = mTree.Path("fifo");
    ASSERT_EQ(mkfifo(path.c_str(), 0600), 0);
    const int reader = open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
    ExpectBytes(0, Read(reader, 0, 4, mBuffer));
    const int writer = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_EQ(write(writer, "xyz", 3), 3);
    ExpectBytes(3, Read(reader, 7, 4, mBuffer));
    EXPECT_STREQ(mBuffer, "xyz");
    ExpectError(EAGAIN, Read(reader, 0, 4, mBuffer));
    close(writer);
    close(reader);
}

TEST_F(ReadResultsTest, TheBytesOfASystemFileThatCallsItselfEmpty)
{
    const int file = open("/proc/self/comm", O_RDONLY | O_CLOEXEC);
    const ReadResult result = Read(file, 0, sizeof mBuffer, mBuffer);
    EXPECT_EQ(result.error, 0);
    EXPECT_GT(result.bytesRead, 1);
    close(file);
}
} // namespace
} // namespace Keld::MORV::Reader
