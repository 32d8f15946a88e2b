#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <atomic>

namespace Keld
{
/// The process-wide choice of what the status header holds.
struct StatusHeaderSwitches
{
    std::atomic<bool> mMemoryHeader{true};    ///< memory behind the time
    std::atomic<bool> mHeaderCounters{false}; ///< two more figures between time and memory
};

extern StatusHeaderSwitches gStatusHeader;

/// What one status header prints.
struct StatusFigures
{
    float seconds;
    uint32 memory;     ///< bytes
    int32 memoryDelta; ///< bytes more than at the last header
    int32 first;
    int32 second;
};

/// Writes a header of the present figures, and makes the present memory figure the one that the next compares with.
/// The text is cut to `size`; the result is its length, or uint_size(-1) when it was cut.
uint_size FormatStatusHeader(char *buffer, uint_size size);

/// The same for given figures.
uint_size FormatStatusFigures(char *buffer, uint_size size, const StatusFigures &figures);
} // namespace Keld
