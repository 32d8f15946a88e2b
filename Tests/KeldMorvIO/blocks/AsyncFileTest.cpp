#include "KeldMorvIO/blocks/AsyncFile.h"

#include "KeldMorvIO/blocks/AsyncRequest.h"
#include "KeldMorvIO/blocks/Descriptors.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdio>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include <fcntl.h>
#include <sys/resource.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
using Test::ClosedStandardInput;
using Test::IsOpenDescriptor;
using Test::ReaderLogCapture;
using Test::TempTree;

namespace
{
class AsyncFileTest : public testing::Test
{
protected:
    ~AsyncFileTest() override { AsyncClose(mFile); }

    void Open(std::string_view bytes)
    {
        mFile = AsyncOpen(mTree.Write("file", bytes).c_str());
        ASSERT_NE(mFile, AsyncFile::Null);
    }

    TempTree mTree;
    AsyncFile mFile = AsyncFile::Null;
};

TEST_F(AsyncFileTest, ReadsAtAnOffsetWithoutAFilePosition)
{
    Open("0123456789");
    for (const uint64 offset : {3U, 0U, 6U, 3U})
    {
        char buffer[4] = {};
        uint32 bytesRead = 0;
        EXPECT_TRUE(AsyncRead(mFile, offset, sizeof buffer, &bytesRead, buffer));
        EXPECT_EQ(bytesRead, 4U);
        EXPECT_EQ(std::string(buffer, 4), std::string("0123456789").substr(offset, 4));
    }
    EXPECT_EQ(lseek(static_cast<int>(mFile), 0, SEEK_CUR), 0);
}

TEST_F(AsyncFileTest, GivesFewerBytesAtTheEndOfTheFileWithoutAFailure)
{
    Open("0123456789");
    std::string buffer(8, '#');
    uint32 bytesRead = 77;
    EXPECT_TRUE(AsyncRead(mFile, 7, 8, &bytesRead, buffer.data()));
    EXPECT_EQ(bytesRead, 3U);
    EXPECT_EQ(buffer, "789#####");
}

TEST_F(AsyncFileTest, GivesNoBytesAtOrPastTheEndOfTheFileWithoutAFailure)
{
    Open("0123456789");
    for (const uint64 offset : {uint64{10}, uint64{11}, uint64{1} << 40})
    {
        std::string buffer(4, '#');
        uint32 bytesRead = 77;
        EXPECT_TRUE(AsyncRead(mFile, offset, 4, &bytesRead, buffer.data())) << offset;
        EXPECT_EQ(bytesRead, 0U);
        EXPECT_EQ(buffer, "####");
    }
}

TEST_F(AsyncFileTest, ReadsBehindFourGibibytes)
{
    Open("");
    const std::string path = mTree.Path("file");
    const int writer = open(path.c_str(), O_WRONLY | O_CLOEXEC);
    ASSERT_NE(writer, -1);
    constexpr uint64 offset = (uint64{1} << 32) + 5;
    ASSERT_EQ(pwrite(writer, "far", 3, static_cast<off_t>(offset)), 3);
    close(writer);
    char buffer[3] = {};
    uint32 bytesRead = 0;
    EXPECT_TRUE(AsyncRead(mFile, offset, 3, &bytesRead, buffer));
    EXPECT_EQ(std::string(buffer, 3), "far");
    EXPECT_TRUE(AsyncRead(mFile, 5, 3, &bytesRead, buffer));
    EXPECT_EQ(std::string(buffer, 3), std::string(3, '\0'));
}

TEST_F(AsyncFileTest, TakesANullForTheNumberOfBytes)
{
    Open("abc");
    char buffer[3] = {};
    EXPECT_TRUE(AsyncRead(mFile, 0, 3, nullptr, buffer));
    EXPECT_EQ(std::string(buffer, 3), "abc");
}

TEST_F(AsyncFileTest, ReadsNoBytesFromADeadHandleWithSuccess)
{
    uint32 bytesRead = 77;
    EXPECT_TRUE(AsyncRead(static_cast<AsyncFile>(1'000'000), 0, 0, &bytesRead, nullptr));
    EXPECT_EQ(bytesRead, 0U);
}

TEST_F(AsyncFileTest, RefusesAReadThroughAClosedHandle)
{
    Open("abc");
    AsyncClose(mFile);
    char buffer[3] = {};
    uint32 bytesRead = 0;
    EXPECT_FALSE(AsyncRead(mFile, 0, 3, &bytesRead, buffer));
    EXPECT_EQ(bytesRead, 0xFFFFFFFFU);
    mFile = AsyncFile::Null;
}

TEST_F(AsyncFileTest, OpensADirectoryButReadsNothingFromIt)
{
    mFile = AsyncOpen(mTree.Root().c_str());
    ASSERT_NE(mFile, AsyncFile::Null);
    char buffer[3] = {};
    uint32 bytesRead = 0;
    EXPECT_FALSE(AsyncRead(mFile, 0, 3, &bytesRead, buffer));
    EXPECT_EQ(bytesRead, 0xFFFFFFFFU);
}

TEST_F(AsyncFileTest, RefusesAnOffsetThatIsNegativeToThePlatform)
{
    Open("abc");
    char buffer[3] = {};
    EXPECT_FALSE(AsyncRead(mFile, uint64{1} << 63, 3, nullptr, buffer));
}

TEST_F(AsyncFileTest, GivesNullAndTheErrorForAFileThatCannotBeOpened)
{
    errno = 0;
    EXPECT_EQ(AsyncOpen(mTree.Path("missing").c_str()), AsyncFile::Null);
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(AsyncFileTest, OpensForReadingOnlyAndNotForChildProcesses)
{
    Open("abc");
    EXPECT_EQ(fcntl(static_cast<int>(mFile), F_GETFL) & O_ACCMODE, O_RDONLY);
    EXPECT_EQ(fcntl(static_cast<int>(mFile), F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
}

TEST_F(AsyncFileTest, ClosesItsHandle)
{
    Open("abc");
    AsyncClose(mFile);
    EXPECT_FALSE(IsOpenDescriptor(mFile));
    mFile = AsyncFile::Null;
}

TEST_F(AsyncFileTest, ClosesAFileAndKeepsItsNumberFromOthers)
{
    Open("abc");
    const int number = static_cast<int>(mFile);
    AsyncCloseKeepingNumber(mFile);
    char buffer[3] = {};
    EXPECT_FALSE(AsyncRead(mFile, 0, 3, nullptr, buffer));
    EXPECT_EQ(fcntl(number, F_GETFD) & FD_CLOEXEC, FD_CLOEXEC);
    EXPECT_NE(Keld::Test::LowestFreeDescriptor(), number);
    AsyncCloseKeepingNumber(mFile);
    EXPECT_TRUE(Keld::Test::IsClosedButTaken(mFile)) << "after the second time, too";
    mFile = AsyncFile::Null;
    EXPECT_EQ(Keld::Test::LowestFreeDescriptor(), number);
}

TEST_F(AsyncFileTest, KeepsTheNumberAlsoWhereTheProcessCanOpenNoMoreFiles)
{
    Open("abc");
    struct rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    struct rlimit none = before;
    none.rlim_cur = static_cast<rlim_t>(Keld::Test::LowestFreeDescriptor());
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &none), 0);
    EXPECT_EQ(open("/dev/null", O_RDONLY), -1);
    AsyncCloseKeepingNumber(mFile);
    EXPECT_EQ(open("/dev/null", O_RDONLY), -1) << "the number is taken";
    setrlimit(RLIMIT_NOFILE, &before);
    char buffer[3] = {};
    uint32 bytesRead = 0;
    EXPECT_FALSE(AsyncRead(mFile, 0, 3, &bytesRead, buffer));
    EXPECT_EQ(bytesRead, 0xFFFFFFFFU);
    EXPECT_FALSE(AsyncHasPositions(mFile));
    errno = 0;
    AsyncCloseKeepingNumber(mFile);
    EXPECT_EQ(errno, EBADF);
    const AsyncFile closed = std::exchange(mFile, AsyncOpen(mTree.Path("file").c_str()));
    EXPECT_TRUE(AsyncRead(mFile, 0, 3, &bytesRead, buffer)) << "of the same file, opened anew";
    EXPECT_EQ(std::string(buffer, 3), "abc");
    EXPECT_TRUE(IsOpenDescriptor(closed));
    AsyncClose(closed);
    EXPECT_FALSE(IsOpenDescriptor(closed));
}

TEST_F(AsyncFileTest, ClosesAFileWhoseNumberIsBeyondALoweredLimit)
{
    Open("abc");
    const int high = fcntl(static_cast<int>(mFile), F_DUPFD_CLOEXEC, 100);
    ASSERT_GE(high, 100);
    struct rlimit before = {};
    ASSERT_EQ(getrlimit(RLIMIT_NOFILE, &before), 0);
    struct rlimit low = before;
    low.rlim_cur = 100;
    ASSERT_EQ(setrlimit(RLIMIT_NOFILE, &low), 0);
    AsyncCloseKeepingNumber(static_cast<AsyncFile>(high));
    setrlimit(RLIMIT_NOFILE, &before);
    EXPECT_FALSE(IsOpenDescriptor(static_cast<AsyncFile>(high)));
}

TEST_F(AsyncFileTest, RefusesAFifoAndADeviceWithoutWaitingButFollowsALinkToAFile)
{
    const std::string fifo = mTree.Path("fifo");
    ASSERT_EQ(mkfifo(fifo.c_str(), 0600), 0);
    const std::string file = mTree.Write("file", "abc");
    ASSERT_EQ(symlink(file.c_str(), mTree.Path("link").c_str()), 0);
    const int free = Keld::Test::LowestFreeDescriptor();
    for (const std::string &path : {fifo, std::string("/dev/null")})
    {
        errno = 0;
        EXPECT_EQ(AsyncOpen(path.c_str()), AsyncFile::Null) << path;
        EXPECT_EQ(errno, EINVAL) << path;
    }
    EXPECT_EQ(Keld::Test::LowestFreeDescriptor(), free);
    mFile = AsyncOpen(mTree.Path("link").c_str());
    EXPECT_NE(mFile, AsyncFile::Null);
}

TEST_F(AsyncFileTest, GivesTheNullHandleForAFileThatGetsDescriptorZero)
{
    const std::string path = mTree.Write("file", "x");
    const ClosedStandardInput closed;
    EXPECT_EQ(AsyncOpen(path.c_str()), AsyncFile::Null);
    EXPECT_TRUE(IsOpenDescriptor(AsyncFile::Null));
    AsyncClose(AsyncFile::Null);
    EXPECT_TRUE(IsOpenDescriptor(AsyncFile::Null)) << "closing the null handle does nothing";
}

TEST_F(AsyncFileTest, LogsNothing)
{
    ReaderLogCapture log;
    char buffer[3] = {};
    EXPECT_EQ(AsyncOpen(mTree.Path("missing").c_str()), AsyncFile::Null);
    EXPECT_FALSE(AsyncRead(static_cast<AsyncFile>(1'000'000), 0, 3, nullptr, buffer));
    AsyncClose(static_cast<AsyncFile>(1'000'000));
    log.ExpectAll({});
}

TEST_F(AsyncFileTest, ServesManyThreadsAtOnce)
{
    std::string content(1 << 16, '\0');
    for (uint_size index = 0; index < content.size(); ++index)
    {
        content[index] = static_cast<char>(index * 31 >> 3);
    }
    Open(content);
    std::vector<std::thread> threads;
    std::vector<int> mismatches(12, 0);
    for (uint_size worker = 0; worker < mismatches.size(); ++worker)
    {
        threads.emplace_back(
            [&, worker]
            {
                for (uint32 round = 0; round < 50; ++round)
                {
                    const uint64 offset = (worker * 4999 + uint64{round} * 613) % 60000;
                    std::string buffer(2000, '\0');
                    uint32 bytesRead = 0;
                    const bool good = AsyncRead(mFile, offset, 2000, &bytesRead, buffer.data()) && bytesRead == 2000 &&
                                      buffer == content.substr(offset, 2000);
                    mismatches[worker] += good ? 0 : 1;
                }
            });
    }
    for (std::thread &thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(mismatches, std::vector<int>(12, 0));
}
} // namespace
} // namespace Keld::MORV::Reader
