#include "KeldFoundation/counters/StatusHeader.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/counters/Clocks.h"
#include "KeldFoundation/counters/MemoryFigures.h"

namespace Keld
{
constinit StatusHeaderSwitches gStatusHeader;

namespace
{
constinit std::atomic<uint32> gPreviousMemory{0};

/// A number as the header prints it: the whole part, and three digits of the rest as a number of their own. A negative
/// one has a negative rest.
struct SplitNumber
{
    explicit SplitNumber(float number)
        : whole(static_cast<int>(number)), thousandths(static_cast<int>(static_cast<int64>(number * 1000.0f) % 1000))
    {
    }

    int whole;
    int thousandths;
};

template <class Bytes>
SplitNumber ToKilobytes(Bytes bytes)
{
    return SplitNumber(static_cast<float>(bytes) * (1.0f / 1024.0f));
}
} // namespace

uint_size FormatStatusFigures(char *buffer, uint_size size, const StatusFigures &figures)
{
    const SplitNumber time(figures.seconds);
    if (!gStatusHeader.mMemoryHeader.load(std::memory_order_relaxed))
    {
        return std_snprintf(buffer, size, "%06d.%03d", time.whole, time.thousandths);
    }
    const SplitNumber total = ToKilobytes(figures.memory);
    const SplitNumber delta = ToKilobytes(figures.memoryDelta);
    if (!gStatusHeader.mHeaderCounters.load(std::memory_order_relaxed))
    {
        return std_snprintf(buffer, size, "%06d.%03d| %7d.%04dkb| %6d.%04dkb added", time.whole, time.thousandths,
                            total.whole, total.thousandths, delta.whole, delta.thousandths);
    }
    return std_snprintf(buffer, size, "%06d.%03d| %07d| %07d| %7d.%04dkb| %6d.%04dkb added", time.whole,
                        time.thousandths, figures.first, figures.second, total.whole, total.thousandths, delta.whole,
                        delta.thousandths);
}

uint_size FormatStatusHeader(char *buffer, uint_size size)
{
    StatusFigures figures{std_seconds_since_start(), 0, 0, 0, 0};
    if (gStatusHeader.mMemoryHeader.load(std::memory_order_relaxed))
    {
        figures.memory = GetVirtualMemorySize();
        const uint32 previous = gPreviousMemory.exchange(figures.memory, std::memory_order_relaxed);
        figures.memoryDelta = static_cast<int32>(figures.memory - previous);
        figures.first = GetFirstStatusFigure();
        figures.second = GetSecondStatusFigure();
    }
    return FormatStatusFigures(buffer, size, figures);
}
} // namespace Keld
