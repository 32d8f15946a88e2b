#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

// The clocks of the standard-call layer, besides `std_local_time` of CStd.h.
namespace Keld
{
/// Seconds since the first call of this function in the process, or those of the fixed clock once it is entered.
float std_seconds_since_start();

/// The same in milliseconds, with the precision of the 32-bit float behind it.
int64 std_milliseconds_since_start();

/// The low 32 bits of the wall clock in milliseconds; 0 on failure.
uint32 std_wall_milliseconds();

/// Seconds since the epoch.
void std_unix_time(int64 *result);

/// Local time to seconds since the epoch; `millisecond` has no effect. False, and `result` untouched, for a time that
/// cannot be represented. The second before the epoch counts as one of those.
bool std_make_time(int32 year, int32 month, int32 day, int32 hour, int32 minute, int32 second, int32 millisecond,
                   int64 *result);

/// From now on, for good, `std_seconds_since_start` goes on from where it is by the length of one frame a step.
void std_enter_fixed_clock();
void std_fixed_clock_step();
} // namespace Keld
