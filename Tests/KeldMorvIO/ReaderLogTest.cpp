#include "KeldMorvIO/ReaderLog.h"

#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

#include <cerrno>

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;

class ReaderLogTest : public ::testing::Test
{
protected:
    ReaderLogCapture mLog;
};

TEST_F(ReaderLogTest, MessagesCarryTheLibrarysGroupInBothWords)
{
    LogError("%s: error %d", "signature", 1);
    LogWarning("%s: warning", "signature");
    LogProgress("%s: progress", "signature");
    LogTrace("%s: trace", "signature");
    const auto low = static_cast<uint32>(LogRecorder::OwnGroups);
    const auto high = static_cast<uint32>(LogRecorder::OwnGroups >> 32);
    const std::vector<LogLine> expected = {{2, low | 1, high, "%s: error %d", "signature: error 1"},
                                           {1, low | 1, high, "%s: warning", "signature: warning"},
                                           {0, low | 2, high, "%s: progress", "signature: progress"},
                                           {0, low | 5, high, "%s: trace", "signature: trace"}};
    EXPECT_EQ(LogRecorder::Lines(), expected);
}

TEST_F(ReaderLogTest, MessagesCarryTheConstantBitsAloneBeforeALoggerHasRegisteredTheGroup)
{
    gMorvLogGroups.store(0);
    LogError("%s: error", "signature");
    LogWarning("%s: warning", "signature");
    LogProgress("%s: progress", "signature");
    LogTrace("%s: trace", "signature");
    const std::vector<LogLine> expected = {{2, 1, 0, "%s: error", "signature: error"},
                                           {1, 1, 0, "%s: warning", "signature: warning"},
                                           {0, 2, 0, "%s: progress", "signature: progress"},
                                           {0, 5, 0, "%s: trace", "signature: trace"}};
    EXPECT_EQ(LogRecorder::Lines(), expected);
}

TEST_F(ReaderLogTest, TheTextOfAnErrorNumberIsAFailureUnlessTheNumberIsZero)
{
    LogErrorText("signature", ENOENT);
    LogErrorText("signature", 0);
    mLog.ExpectAll({Error("No such file or directory", "signature"), Progress("Success", "signature")});
}
} // namespace
} // namespace Keld::Test
