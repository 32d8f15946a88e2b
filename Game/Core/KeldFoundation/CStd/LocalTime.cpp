#include "KeldFoundation/CStd/CStd.h"

#include "KeldFoundation/CStd/FileWatch.h"

#include <cstdlib>
#include <ctime>
#include <mutex>

namespace Keld
{
namespace
{
// The platform guards its time zone by itself, but out of sight of the tools that look for races.
constinit std::mutex gTimeZoneMutex;

// The zone that holds while TZ is not set. Guarded by the mutex, as the next.
constinit FileWatch gSystemZone("/etc/localtime");
constinit bool gTookSystemZone = false;

// `localtime_r` does not look for a change of zone by itself, and `tzset` allocates whenever TZ is not set, which no
// log record may cost. So the system's zone is taken again only when its file has changed.
void FollowTimeZone()
{
    const bool isSystemZone = std::getenv("TZ") == nullptr;
    const bool keepsZone = isSystemZone && !gSystemZone.HasChanged() && gTookSystemZone;
    if (!keepsZone)
    {
        tzset();
    }
    gTookSystemZone = isSystemZone;
}
} // namespace

void std_local_time(int32 *year, int32 *month, int32 *day, int32 *hour, int32 *minute, int32 *second,
                    int32 *millisecond)
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    {
        const std::lock_guard<std::mutex> lock(gTimeZoneMutex);
        FollowTimeZone();
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
