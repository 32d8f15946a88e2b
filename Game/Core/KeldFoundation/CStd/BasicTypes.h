#pragma once

#include <cstddef>
#include <cstdint>

namespace Keld
{
using int8 = std::int8_t;
using int16 = std::int16_t;
using int32 = std::int32_t;
using int64 = std::int64_t;
using uint8 = std::uint8_t;
using uint16 = std::uint16_t;
using uint32 = std::uint32_t;
using uint64 = std::uint64_t;

/// An unsigned integer of pointer width: every size and count of the standard-call layer.
using uint_size = std::size_t;

/// A 64-bit number of its two words. Masks of log groups cross module boundaries as words.
constexpr uint64 JoinWords(uint32 low, uint32 high)
{
    return uint64{high} << 32 | low;
}

constexpr uint32 LowWord(uint64 number)
{
    return static_cast<uint32>(number);
}

constexpr uint32 HighWord(uint64 number)
{
    return static_cast<uint32>(number >> 32);
}
} // namespace Keld
