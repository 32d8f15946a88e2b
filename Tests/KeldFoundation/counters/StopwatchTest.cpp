#include "KeldFoundation/counters/Stopwatch.h"

#include <gtest/gtest.h>

#include <ctime>

namespace Keld::Test
{
namespace
{
/// Uses up processor time: at least that many ticks.
void Burn(std::clock_t ticks)
{
    const std::clock_t end = std::clock() + ticks;
    while (std::clock() < end)
    {
    }
}

TEST(StopwatchTest, StandsStillUntilItIsStarted)
{
    const Stopwatch stopwatch;
    Burn(1000);
    EXPECT_EQ(stopwatch.Elapsed(), 0u);
    EXPECT_EQ(stopwatch.GetMilliseconds(), 0);
}

TEST(StopwatchTest, CountsTicksOfProcessorTimeWhileItRuns)
{
    Burn(1); // the very first tick of a process cannot be told from no start
    Stopwatch stopwatch;
    const std::clock_t before = std::clock();
    stopwatch.Start();
    Burn(3000);
    const uint32 elapsed = stopwatch.Elapsed();
    EXPECT_GE(elapsed, 3000u);
    EXPECT_LE(elapsed, std::clock() - before);
    EXPECT_GE(stopwatch.GetMilliseconds(), 3);
}

TEST(StopwatchTest, KeepsTheFirstOfTwoStarts)
{
    Burn(1);
    Stopwatch stopwatch;
    stopwatch.Start();
    Burn(3000);
    stopwatch.Start();
    EXPECT_GE(stopwatch.Elapsed(), 3000u);
}

TEST(StopwatchTest, AddsUpItsStretches)
{
    Burn(1);
    Stopwatch stopwatch;
    stopwatch.Start();
    Burn(3000);
    stopwatch.Stop();
    EXPECT_EQ(stopwatch.Elapsed(), 0u);
    const int64 first = stopwatch.GetMilliseconds();
    EXPECT_GE(first, 3);
    Burn(3000);
    EXPECT_EQ(stopwatch.GetMilliseconds(), first) << "it is stopped";

    stopwatch.Start();
    Burn(3000);
    EXPECT_GE(stopwatch.GetMilliseconds(), first + 3);
    stopwatch.Stop();
    stopwatch.Stop();
    EXPECT_GE(stopwatch.GetMilliseconds(), first + 3);
}
} // namespace
} // namespace Keld::Test
