#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

// The hashes beside `HashPathLower` and `HashName` (Hash.h). `hash` is the value to start from or to go on with.
namespace Keld
{
/// FNV-1a (XOR, then multiply) over bytes as they are, taken as unsigned.
uint32 HashFnv1a(uint32 hash, const void *data, uint_size size);
uint32 HashFnv1a(uint32 hash, const char *text);

/// FNV-1 with case, bytes sign-extended: what `HashPathLower` is without its folding.
uint32 HashFnv1(uint32 hash, const void *data, uint_size size);

/// The step of `HashName` with case.
uint32 HashNameExact(uint32 hash, const void *data, uint_size size);

/// A multiplicative hash over folded, sign-extended bytes: multiply, then add. The second form goes on over `second`.
uint32 HashTextLower(const char *text);
uint32 HashTextLower(const char *first, const char *second);

/// The same, but for the first text: add, then multiply, and `separator` or `last` added behind it.
uint32 HashTextLowerSeparated(const char *first, char separator, const char *second);
uint32 HashTextLowerWithLast(const char *text, char last);
} // namespace Keld
