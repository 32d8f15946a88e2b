#include "KeldMorvIO/LogCapture.h"

#include "KeldMorvIO/ReaderLog.h"

#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <thread>

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;
using Lines = std::vector<std::string>;

class LogCaptureTest : public testing::Test
{
protected:
    ReaderLogCapture mLog;
};

TEST_F(LogCaptureTest, KeepsWarningsAndErrorsAndNothingIsLogged)
{
    const LogCapture capture;
    LogError("%s: Failed to find %s", "void Function()", "it");
    LogWarning("%s: gone", "void Function()");
    LogProgress("%s: going on", "void Function()");
    LogErrorText("void Function()", ENOENT);
    EXPECT_EQ(capture.GetFailures(), (Lines{"Failed to find it", "gone", "No such file or directory"}));
    mLog.ExpectAll({});
}

TEST_F(LogCaptureTest, OnceItHasEndedLinesAreLoggedAgain)
{
    {
        const LogCapture capture;
        LogError("%s: unheard", "f");
    }
    LogError("%s: heard", "f");
    mLog.ExpectAll({Error("heard", "f")});
}

TEST_F(LogCaptureTest, TheYoungestTakesTheLine)
{
    const LogCapture outer;
    {
        const LogCapture inner;
        LogError("%s: first", "f");
        EXPECT_EQ(inner.GetFailures(), Lines{"first"});
    }
    LogError("%s: second", "f");
    EXPECT_EQ(outer.GetFailures(), Lines{"second"});
}

TEST_F(LogCaptureTest, AnotherThreadLogsAsEver)
{
    const LogCapture capture;
    std::thread(
        []
        {
            LogError("%s: elsewhere", "f");
        })
        .join();
    EXPECT_TRUE(capture.GetFailures().empty());
    mLog.ExpectAll({Error("elsewhere", "f")});
}
} // namespace
} // namespace Keld::Test
