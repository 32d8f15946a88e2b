#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld
{
/// The remainders of numbers by one divisor, for very many of them: two multiplications in place of a division.
class Remainder
{
public:
    /// \param divisor not 0.
    explicit constexpr Remainder(uint32 divisor) : mDivisor(divisor), mReciprocal(~uint64{0} / divisor + 1) {}

    constexpr uint32 Of(uint32 value) const
    {
        // What the quotient has behind its point, in 64 bits: of numbers of 32 bits that loses nothing.
        const uint64 fraction = mReciprocal * value;
        return static_cast<uint32>(Product(fraction) * mDivisor >> 64);
    }

private:
    __extension__ using Product = unsigned __int128;

    uint32 mDivisor;
    uint64 mReciprocal; ///< 2^64 by the divisor, rounded up; 0 for 1
};
} // namespace Keld
