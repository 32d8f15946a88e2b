#include "KeldFoundation/CStd/CStd.h"

#include <cstdlib>
#include <ctime>
#include <mutex>

namespace Keld
{
namespace
{
// The platform guards its time zone by itself, but out of sight of the tools that look for races.
constinit std::mutex gTimeZoneMutex;

// The platform was last told to take the zone that no variable names, the system's. Guarded by the mutex.
constinit bool gTookSystemZone = false;

// The re-entrant call does not look for a change of zone by itself. Asked again for the system's zone, the platform
// looks at its file and allocates, which no message may cost; so that one is taken once.
void FollowTimeZone()
{
    const bool isSystemZone = std::getenv("TZ") == nullptr;
    if (!isSystemZone || !gTookSystemZone)
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
