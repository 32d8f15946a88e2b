#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld
{
/// 'A' to 'Z' become lower case, every other byte stays as it is, whatever the locale.
constexpr char FoldCase(char character)
{
    return character >= 'A' && character <= 'Z' ? static_cast<char>(character - 'A' + 'a') : character;
}

/// The FNV offset basis: the hash of the empty path.
inline constexpr uint32 HashPathStart = 0x811C9DC5;

/// The byte as a signed number, widened. Spelled out, since a plain char is unsigned on some platforms.
constexpr uint32 SignExtended(char character)
{
    return static_cast<uint32>(static_cast<int32>(static_cast<int8>(character)));
}

/// The FNV-1 and FNV-1a factor.
inline constexpr uint32 FnvPrime = 0x01000193;

/// One step of the FNV-1 hash (Fowler, Noll, Vo: multiply, then XOR) over a sign-extended byte, which is folded
/// already.
constexpr uint32 HashPathFoldedStep(uint32 hash, char folded)
{
    return (hash * FnvPrime) ^ SignExtended(folded);
}

/// The same over any byte, which it folds.
constexpr uint32 HashPathLowerStep(uint32 hash, char character)
{
    return HashPathFoldedStep(hash, FoldCase(character));
}

/// The hash of listing lookups: FNV-1 over a text without regard to ASCII case, going on from `hash`.
uint32 HashPathLower(uint32 hash, const char *text);
uint32 HashPathLower(const char *text);

/// One step of the ELF string hash over a sign-extended byte.
constexpr uint32 HashNameStep(uint32 hash, char character)
{
    const uint32 shifted = hash * 16 + SignExtended(character);
    const uint32 top = shifted & 0xF0000000u;
    return shifted ^ top ^ (top >> 24);
}

/// The hash of archive indexes: the ELF string hash over a text without regard to ASCII case, bytes sign-extended.
uint32 HashName(const char *text);

/// The same, going on from the hash of the text in front.
uint32 HashName(uint32 hash, const char *text);

/// The same over no more than `size` bytes. Tells how many there were.
struct BoundedHash
{
    uint32 hash;
    uint_size length;
};
BoundedHash HashName(uint32 hash, const char *text, uint_size size);
} // namespace Keld
