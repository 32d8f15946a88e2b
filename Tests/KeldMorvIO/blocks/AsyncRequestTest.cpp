#include "KeldMorvIO/blocks/AsyncRequest.h"

#include "KeldMorvIO/blocks/AsyncRequestPool.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstring>
#include <string>

#include <aio.h>

namespace Keld::MORV::Reader
{
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
