#include "KeldFoundation/counters/Stopwatch.h"

#include <ctime>

namespace Keld
{
namespace
{
constexpr int64 TicksPerSecond = 1000000;
static_assert(CLOCKS_PER_SEC == TicksPerSecond);

uint32 GetTick()
{
    return static_cast<uint32>(std::clock());
}
} // namespace

void Stopwatch::Start()
{
    if (mStart == 0)
    {
        mStart = GetTick();
    }
}

void Stopwatch::Stop()
{
    mTotal += Elapsed();
    mStart = 0;
}

uint32 Stopwatch::Elapsed() const
{
    return mStart != 0 ? GetTick() - mStart : 0;
}

int64 Stopwatch::GetMilliseconds() const
{
    return (mTotal + Elapsed()) * 1000 / TicksPerSecond;
}
} // namespace Keld
