#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld
{
/// An unsigned 32-bit number as files store it, lowest byte first. It may lie at any address, whatever the machine's
/// byte order and alignment; compilers turn a read into one load.
class Little32
{
public:
    Little32() = default;
    constexpr Little32(uint32 value) { *this = value; }

    constexpr Little32 &operator=(uint32 value)
    {
        mBytes[0] = static_cast<unsigned char>(value);
        mBytes[1] = static_cast<unsigned char>(value >> 8);
        mBytes[2] = static_cast<unsigned char>(value >> 16);
        mBytes[3] = static_cast<unsigned char>(value >> 24);
        return *this;
    }

    constexpr operator uint32() const
    {
        return uint32{mBytes[0]} | uint32{mBytes[1]} << 8 | uint32{mBytes[2]} << 16 | uint32{mBytes[3]} << 24;
    }

private:
    unsigned char mBytes[4];
};
static_assert(sizeof(Little32) == 4 && alignof(Little32) == 1);
} // namespace Keld
