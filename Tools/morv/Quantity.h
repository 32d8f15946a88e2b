#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <string>

namespace Keld::Morv
{
/// "1 file", "2 files", "3 directories": a number with the noun that it counts.
std::string CountText(uint64 count, const std::string &noun);

/// "999 bytes", "1.5 KiB", "12.3 MiB", "1.18 GiB": in powers of 1024, three digits.
std::string ByteText(uint64 bytes);

/// "0.04 s", "12.3 s", "4 min 5 s", "2 h 3 min".
std::string DurationText(double seconds);

/// "358 MiB/s"; a time of 0 counts as the shortest that can be told.
std::string RateText(uint64 bytes, double seconds);
} // namespace Keld::Morv
