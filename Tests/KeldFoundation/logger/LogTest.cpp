#include "KeldFoundation/logger/Log.h"

#include "KeldFoundation/logger/BuiltInLogger.h"
#include "KeldFoundation/logger/LogFilter.h"
#include "Support/LogRecorder.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>

namespace Keld::Test
{
namespace
{
class LogTest : public ::testing::Test
{
protected:
    LogTest() { LogRecorder::Clear(); }
    ~LogTest() override { SetCurrentLogger(GetBuiltInLogger()); }
};

__attribute__((format(printf, 1, 2))) void LogWithList(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogV(WARN, 0x80000001, 0x80000002, format, arguments);
    va_end(arguments);
}

TEST_F(LogTest, StartsWithTheBuiltInLogger)
{
    EXPECT_EQ(GetBuiltInLogger(), &gBuiltInLogger);
    EXPECT_EQ(GetCurrentLogger(), GetBuiltInLogger());
}

TEST_F(LogTest, HandsItsArgumentsToTheCurrentTable)
{
    SetCurrentLogger(LogRecorder::Table());
    EXPECT_EQ(GetCurrentLogger(), LogRecorder::Table());
    Log(ERROR, 0x12345678, 0x9ABCDEF0, "%s: %d of %s", "signature", -3, "many");
    LogWithList("%s %g", "list", 1.5);
    const std::vector<LogLine> expected = {
        {2, 0x12345678, 0x9ABCDEF0, "%s: %d of %s", "signature: -3 of many"},
        {1, 0x80000001, 0x80000002, "%s %g", "list 1.5"},
    };
    EXPECT_EQ(LogRecorder::Lines(), expected);
}

TEST_F(LogTest, FiltersNothingByItself)
{
    SetCurrentLogger(LogRecorder::Table());
    Log(OKAY, DBG | XTR, 0, "trace");
    Log(-5, 0, 0, "below every severity");
    EXPECT_EQ(LogRecorder::Lines().size(), 2u);
}

TEST_F(LogTest, TellsWhatTheFilterWouldLetThrough)
{
    SetCurrentLogger(LogRecorder::Table());
    EXPECT_TRUE(IsLogWanted(OKAY, DBG | XTR, 0));
    EXPECT_TRUE(LogRecorder::Lines().empty());
    SetCurrentLogger(GetBuiltInLogger());
    GetBuiltInLogger()->Startup();
    EXPECT_FALSE(IsLogWanted(OKAY, DBG | XTR, 0));
    EXPECT_TRUE(IsLogWanted(ERROR, DBG, 0));
    EXPECT_FALSE(IsLogWanted(ERROR, DBG | XTR, 0));
    GetBuiltInLogger()->SetLevel(OKAY);
    GetBuiltInLogger()->SetIgnoredGroups(0, 2);
    EXPECT_TRUE(IsLogWanted(OKAY, DBG | XTR, 1));
    EXPECT_FALSE(IsLogWanted(OKAY, DBG | XTR, 2));
    GetBuiltInLogger()->Shutdown();
    EXPECT_TRUE(IsLogWanted(OKAY, DBG, 0)); // the message would make a logger, with its own filter
}

TEST_F(LogTest, KeepsErrnoFromTheTable)
{
    IKeldLogger table{};
    table.Log = [](std::int32_t, std::uint32_t, std::uint32_t, const char *, va_list)
    {
        errno = EIO;
    };
    SetCurrentLogger(&table);
    errno = ENOENT;
    Log(ERROR, DBG, 0, "text");
    EXPECT_EQ(errno, ENOENT);
    errno = 0;
    Log(ERROR, DBG, 0, "text");
    EXPECT_EQ(errno, 0);
}
} // namespace
} // namespace Keld::Test
