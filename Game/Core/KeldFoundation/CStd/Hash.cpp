#include "KeldFoundation/CStd/Hash.h"

#include <cstring>

namespace Keld
{
namespace
{
constexpr uint32 FnvPrime = 16777619;
constexpr uint32 TextFactor = 0x1003F;

// Explicit, since a plain char is unsigned on some platforms.
uint32 SignExtended(char character)
{
    return static_cast<uint32>(static_cast<int32>(static_cast<int8>(character)));
}

uint32 HashNameStep(uint32 hash, char character)
{
    const uint32 shifted = hash * 16 + SignExtended(character);
    const uint32 top = shifted & 0xF0000000u;
    return shifted ^ top ^ (top >> 24);
}

uint32 MultiplyThenAdd(uint32 hash, const char *text)
{
    for (; *text != '\0'; ++text)
    {
        hash = SignExtended(FoldCase(*text)) + hash * TextFactor;
    }
    return hash;
}
} // namespace

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
        hash = HashNameStep(hash, FoldCase(*text));
    }
    return hash;
}

uint32 HashFnv1a(uint32 hash, const void *data, uint_size size)
{
    const auto *bytes = static_cast<const uint8 *>(data);
    for (uint_size index = 0; index < size; ++index)
    {
        hash = (hash ^ bytes[index]) * FnvPrime;
    }
    return hash;
}

uint32 HashFnv1a(uint32 hash, const char *text)
{
    return HashFnv1a(hash, text, std::strlen(text));
}

uint32 HashFnv1(uint32 hash, const void *data, uint_size size)
{
    const auto *bytes = static_cast<const char *>(data);
    for (uint_size index = 0; index < size; ++index)
    {
        hash = (hash * FnvPrime) ^ SignExtended(bytes[index]);
    }
    return hash;
}

uint32 HashNameExact(uint32 hash, const void *data, uint_size size)
{
    const auto *bytes = static_cast<const char *>(data);
    for (uint_size index = 0; index < size; ++index)
    {
        hash = HashNameStep(hash, bytes[index]);
    }
    return hash;
}

uint32 HashTextLower(const char *text)
{
    return MultiplyThenAdd(0, text);
}

uint32 HashTextLower(const char *first, const char *second)
{
    return MultiplyThenAdd(MultiplyThenAdd(0, first), second);
}

uint32 HashTextLowerSeparated(const char *first, char separator, const char *second)
{
    return MultiplyThenAdd(HashTextLowerWithLast(first, separator), second);
}

uint32 HashTextLowerWithLast(const char *text, char last)
{
    uint32 hash = 0;
    for (; *text != '\0'; ++text)
    {
        hash = (SignExtended(FoldCase(*text)) + hash) * TextFactor;
    }
    return hash + SignExtended(last);
}
} // namespace Keld
