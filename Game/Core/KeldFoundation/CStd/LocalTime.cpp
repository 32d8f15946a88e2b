#include "KeldFoundation/CStd/CStd.h"

#include <ctime>
#include <mutex>

namespace Keld
{
namespace
{
// The platform guards its time zone by itself, but out of sight of the tools that look for races.
constinit std::mutex gTimeZoneMutex;
} // namespace

void std_local_time(int32 *year, int32 *month, int32 *day, int32 *hour, int32 *minute, int32 *second,
                    int32 *millisecond)
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    {
        const std::lock_guard<std::mutex> lock(gTimeZoneMutex);
        tzset(); // the re-entrant call need not look at the time zone by itself
        localtime_r(&now, &local);
    }
    *year = local.tm_year + 1900;
    *month = local.tm_mon + 1;
    *day = local.tm_mday;
    *hour = local.tm_hour;
    *minute = local.tm_min;
    *second = local.tm_sec;
    *millisecond = 0;
}
} // namespace Keld
