#include "KeldFoundation/counters/Clocks.h"

#include <atomic>
#include <bit>
#include <ctime>

#include <sys/time.h>

namespace Keld
{
namespace
{
constexpr float FrameSeconds = 0.033343334f;
static_assert(std::bit_cast<uint32>(FrameSeconds) == 0x3D089305);

/// Ticks of the absolute clock in a nanosecond.
constexpr double TickRatio = 1.0;

constinit std::atomic<bool> gFixedClock{false};
constinit std::atomic<float> gFixedClockBase{0.0f};
constinit std::atomic<uint64> gFixedClockFrames{0};

int64 GetAbsoluteTicks()
{
    timespec now{};
    clock_gettime(CLOCK_MONOTONIC, &now);
    return static_cast<int64>(now.tv_sec) * 1000000000 + now.tv_nsec;
}

float GetFixedSeconds()
{
    const auto frames = static_cast<float>(gFixedClockFrames.load(std::memory_order_relaxed));
    const float advance = frames * FrameSeconds;
    return advance + gFixedClockBase.load(std::memory_order_relaxed);
}

float GetMeasuredSeconds()
{
    static const int64 start = GetAbsoluteTicks();
    return static_cast<float>(static_cast<double>(GetAbsoluteTicks() - start) / TickRatio * 1e-9);
}
} // namespace

float std_seconds_since_start()
{
    return gFixedClock.load(std::memory_order_acquire) ? GetFixedSeconds() : GetMeasuredSeconds();
}

int64 std_milliseconds_since_start()
{
    return static_cast<int64>(std_seconds_since_start() * 1000.0f);
}

uint32 std_wall_milliseconds()
{
    timeval now{};
    if (gettimeofday(&now, nullptr) != 0)
    {
        return 0;
    }
    return static_cast<uint32>(static_cast<int64>(now.tv_sec) * 1000 + now.tv_usec / 1000);
}

void std_unix_time(int64 *result)
{
    *result = std::time(nullptr);
}

bool std_make_time(int32 year, int32 month, int32 day, int32 hour, int32 minute, int32 second, int32, int64 *result)
{
    std::tm fields{};
    fields.tm_year = year - 1900;
    fields.tm_mon = month - 1;
    fields.tm_mday = day;
    fields.tm_hour = hour;
    fields.tm_min = minute;
    fields.tm_sec = second;
    fields.tm_isdst = -1; // the platform knows whether daylight saving holds at that time
    const std::time_t seconds = std::mktime(&fields);
    if (seconds == -1)
    {
        return false;
    }
    *result = seconds;
    return true;
}

void std_enter_fixed_clock()
{
    gFixedClockBase.store(std_seconds_since_start(), std::memory_order_relaxed);
    gFixedClock.store(true, std::memory_order_release);
}

void std_fixed_clock_step()
{
    gFixedClockFrames.fetch_add(1, std::memory_order_relaxed);
}
} // namespace Keld
