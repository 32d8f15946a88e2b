#include "KeldFoundation/CStd/CStd.h"

#include <gtest/gtest.h>

#include <cstdlib>
#include <ctime>
#include <optional>
#include <string>
#include <thread>
#include <vector>

namespace Keld::Test
{
namespace
{
// Sets the process's time zone, and puts back the old one at the end.
class TimeZone
{
public:
    explicit TimeZone(const char *zone)
    {
        if (const char *old = std::getenv("TZ"); old != nullptr)
        {
            mOld = old;
        }
        setenv("TZ", zone, 1);
    }
    ~TimeZone()
    {
        if (mOld.has_value())
        {
            setenv("TZ", mOld->c_str(), 1);
        }
        else
        {
            unsetenv("TZ");
        }
        tzset();
    }
    TimeZone(const TimeZone &) = delete;
    TimeZone &operator=(const TimeZone &) = delete;

private:
    std::optional<std::string> mOld;
};

// The local time as if it were the universal one, in seconds.
std::time_t LocalSeconds()
{
    int32 year = -1, month = -1, day = -1, hour = -1, minute = -1, second = -1, millisecond = -1;
    std_local_time(&year, &month, &day, &hour, &minute, &second, &millisecond);
    EXPECT_EQ(millisecond, 0);
    std::tm fields{};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    return timegm(&fields);
}

void ExpectOffset(const char *zone, std::time_t offset)
{
    const TimeZone guard(zone);
    const std::time_t before = std::time(nullptr);
    const std::time_t local = LocalSeconds();
    const std::time_t after = std::time(nullptr);
    EXPECT_LE(before + offset, local) << zone;
    EXPECT_LE(local, after + offset) << zone;
}
} // namespace

TEST(LocalTimeTest, GivesTheTimeOfTheZoneThatIsSetNow)
{
    ExpectOffset("UTC0", 0);
    ExpectOffset("EAST-5:30", std::time_t{5} * 3600 + std::time_t{30} * 60);
    ExpectOffset("WEST+8", std::time_t{-8} * 3600);
}

TEST(LocalTimeTest, ComesBackToTheSystemsZoneWhenNoneIsSetAnyMore)
{
    const TimeZone guard("EAST-5:30");
    for (int round = 0; round < 2; ++round)
    {
        setenv("TZ", "EAST-5:30", 1);
        LocalSeconds();
        unsetenv("TZ");
        const std::time_t before = std::time(nullptr);
        const std::time_t local = LocalSeconds();
        const std::time_t after = std::time(nullptr);
        std::tm expected{};
        tzset();
        localtime_r(&before, &expected);
        EXPECT_LE(before + expected.tm_gmtoff, local);
        EXPECT_LE(local, after + expected.tm_gmtoff);
    }
}

TEST(LocalTimeTest, MayBeAskedByManyThreadsAtOnce)
{
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int index = 0; index < 4; ++index)
    {
        threads.emplace_back(
            []
            {
                for (int round = 0; round < 50; ++round)
                {
                    EXPECT_GT(LocalSeconds(), 0);
                }
            });
    }
    for (std::thread &thread : threads)
    {
        thread.join();
    }
}
} // namespace Keld::Test
