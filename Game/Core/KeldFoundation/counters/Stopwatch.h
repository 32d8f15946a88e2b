#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld
{
/// Adds up stretches of processor time, in ticks of `clock()`: 1000000 per second.
class Stopwatch
{
public:
    /// Without effect while it runs: the first start counts.
    void Start();

    /// Adds the present stretch to the total.
    void Stop();

    /// Ticks since the start, modulo 2^32; 0 when stopped.
    uint32 Elapsed() const;

    /// All stretches, the present one included.
    int64 GetMilliseconds() const;

private:
    uint32 mStart = 0; ///< 0 when stopped, so a start in the very first tick of the process is missed
    int64 mTotal = 0;
};
} // namespace Keld
