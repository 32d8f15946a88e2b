#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld
{
// Memory is not measured on this platform. A port that can measure it fills these in; the texts that print them stay.

/// Bytes of virtual memory of the process.
inline uint32 GetVirtualMemorySize()
{
    return 0;
}

/// The two figures that the status header prints on request.
inline int32 GetFirstStatusFigure()
{
    return 0;
}

inline int32 GetSecondStatusFigure()
{
    return 0;
}
} // namespace Keld
