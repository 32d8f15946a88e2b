#include "KeldFoundation/counters/Clocks.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>

#include <sys/time.h>

namespace Keld::Test
{
namespace
{
TEST(ClocksTest, SecondsSinceStartNeverGoBack)
{
    float last = std_seconds_since_start();
    EXPECT_GE(last, 0.0f);
    for (int round = 0; round < 1000; ++round)
    {
        const float now = std_seconds_since_start();
        EXPECT_GE(now, last);
        last = now;
    }
}

TEST(ClocksTest, SecondsSinceStartAdvanceWithTheClock)
{
    std_seconds_since_start();
    timespec begin{};
    timespec end{};
    clock_gettime(CLOCK_MONOTONIC, &begin);
    const float first = std_seconds_since_start();
    const timespec pause{0, 20000000};
    nanosleep(&pause, nullptr);
    const float second = std_seconds_since_start();
    clock_gettime(CLOCK_MONOTONIC, &end);
    const double outer =
        static_cast<double>(end.tv_sec - begin.tv_sec) + static_cast<double>(end.tv_nsec - begin.tv_nsec) * 1e-9;
    EXPECT_GE(second - first, 0.019f);
    EXPECT_LE(static_cast<double>(second - first), outer + 0.001);
}

TEST(ClocksTest, MillisecondsSinceStartFollowTheSeconds)
{
    const float before = std_seconds_since_start();
    const int64 milliseconds = std_milliseconds_since_start();
    const float after = std_seconds_since_start();
    EXPECT_GE(milliseconds, static_cast<int64>(before * 1000.0f));
    EXPECT_LE(milliseconds, static_cast<int64>(after * 1000.0f));
}

uint64 WallMilliseconds()
{
    timeval now{};
    gettimeofday(&now, nullptr);
    return static_cast<uint64>(now.tv_sec) * 1000 + static_cast<uint64>(now.tv_usec) / 1000;
}

TEST(ClocksTest, WallMillisecondsAreCutTo32Bits)
{
    const uint64 before = WallMilliseconds();
    const uint32 now = std_wall_milliseconds();
    const uint64 after = WallMilliseconds();
    EXPECT_LE(now - static_cast<uint32>(before), static_cast<uint32>(after - before));
}

TEST(ClocksTest, UnixTimeIsTheSystemsTime)
{
    const std::time_t before = std::time(nullptr);
    int64 now = 0;
    std_unix_time(&now);
    EXPECT_GE(now, before);
    EXPECT_LE(now, std::time(nullptr));
}

class MakeTimeTest : public ::testing::Test
{
protected:
    MakeTimeTest()
    {
        const char *const zone = std::getenv("TZ");
        mHadZone = zone != nullptr;
        mZone = mHadZone ? zone : "";
        SetZone("UTC");
    }

    ~MakeTimeTest() override
    {
        if (mHadZone)
        {
            SetZone(mZone.c_str());
            return;
        }
        unsetenv("TZ");
        tzset();
    }

    static void SetZone(const char *zone)
    {
        setenv("TZ", zone, 1);
        tzset();
    }

    bool mHadZone = false;
    std::string mZone;
};

TEST_F(MakeTimeTest, TurnsLocalTimeIntoSecondsSinceTheEpoch)
{
    int64 result = 0;
    EXPECT_TRUE(std_make_time(2001, 9, 9, 1, 46, 40, 0, &result));
    EXPECT_EQ(result, 1000000000);
    SetZone("EST5");
    EXPECT_TRUE(std_make_time(2001, 9, 8, 20, 46, 40, 0, &result));
    EXPECT_EQ(result, 1000000000);
}

TEST_F(MakeTimeTest, IgnoresMilliseconds)
{
    int64 result = 0;
    EXPECT_TRUE(std_make_time(1970, 1, 1, 0, 0, 1, 999, &result));
    EXPECT_EQ(result, 1);
}

TEST_F(MakeTimeTest, RefusesTheSecondBeforeTheEpoch)
{
    int64 result = 42;
    EXPECT_FALSE(std_make_time(1969, 12, 31, 23, 59, 59, 0, &result));
    EXPECT_EQ(result, 42);
    EXPECT_TRUE(std_make_time(1969, 12, 31, 23, 59, 58, 0, &result));
    EXPECT_EQ(result, -2);
}

// The fixed clock is entered for good, so each of these has a process of its own.

int RunFixedClock()
{
    const float before = std_seconds_since_start();
    std_enter_fixed_clock();
    const float base = std_seconds_since_start();
    if (base < before || std_seconds_since_start() != base)
    {
        return 1;
    }
    std_fixed_clock_step();
    if (std_seconds_since_start() != 0.033343334f + base)
    {
        return 2;
    }
    for (int step = 1; step < 1000; ++step)
    {
        std_fixed_clock_step();
    }
    const float advance = 1000.0f * 0.033343334f;
    if (std_seconds_since_start() != advance + base)
    {
        return 3;
    }
    return std_milliseconds_since_start() == static_cast<int64>((advance + base) * 1000.0f) ? 0 : 4;
}

TEST(FixedClockTest, AdvancesByOneFrameForEachStepFromWhereItIs)
{
    EXPECT_EXIT(std::exit(RunFixedClock()), testing::ExitedWithCode(0), "");
}
} // namespace
} // namespace Keld::Test
