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

/// One step of the FNV-1 hash (Fowler, Noll, Vo: multiply, then XOR) over a folded byte, sign-extended to 32 bits.
constexpr uint32 HashPathLowerStep(uint32 hash, char character)
{
    const auto folded = static_cast<int8>(FoldCase(character));
    return (hash * 0x01000193u) ^ static_cast<uint32>(static_cast<int32>(folded));
}

/// The hash of listing lookups: FNV-1 over a text without regard to ASCII case, going on from `hash`.
uint32 HashPathLower(uint32 hash, const char *text);
uint32 HashPathLower(const char *text);

/// The hash of archive indexes: the ELF string hash over a text without regard to ASCII case, bytes sign-extended.
uint32 HashName(const char *text);

// The rest of the family. Nothing in the library calls it. `hash` is the value to start from or to go on with.

/// FNV-1a (XOR, then multiply) over bytes as they are, taken as unsigned.
uint32 HashFnv1a(uint32 hash, const void *data, uint_size size);
uint32 HashFnv1a(uint32 hash, const char *text);

/// FNV-1 with case, bytes sign-extended: what HashPathLower is without its folding.
uint32 HashFnv1(uint32 hash, const void *data, uint_size size);

/// The step of HashName with case.
uint32 HashNameExact(uint32 hash, const void *data, uint_size size);

/// A multiplicative hash over folded, sign-extended bytes: multiply, then add. The second form goes on over `second`.
uint32 HashTextLower(const char *text);
uint32 HashTextLower(const char *first, const char *second);

/// The same, but for the first text: add, then multiply, and `separator` or `last` added behind it.
uint32 HashTextLowerSeparated(const char *first, char separator, const char *second);
uint32 HashTextLowerWithLast(const char *text, char last);
} // namespace Keld
