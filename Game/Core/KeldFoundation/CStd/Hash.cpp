#include "KeldFoundation/CStd/Hash.h"

namespace Keld
{
uint32 HashPathLower(uint32 hash, const char *text)
{
    for (; *text != '\0'; ++text)
    {
        hash = HashPathLowerStep(hash, *text);
    }
    return hash;
}

uint32 HashPathLower(const char *text)
{
    return HashPathLower(HashPathStart, text);
}

uint32 HashName(const char *text)
{
    uint32 hash = 0;
    for (; *text != '\0'; ++text)
    {
        const auto folded = static_cast<int8>(FoldCase(*text));
        const uint32 shifted = hash * 16 + static_cast<uint32>(static_cast<int32>(folded));
        const uint32 top = shifted & 0xF0000000u;
        hash = shifted ^ top ^ (top >> 24);
    }
    return hash;
}
} // namespace Keld
