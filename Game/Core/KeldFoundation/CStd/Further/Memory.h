#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

// Calls on memory beside those of CStd.h.
namespace Keld
{
/// Byte by byte.
void std_memfill(void *dest, uint8 value, uint_size size);
int std_memcmp(const void *lhs, const void *rhs, uint_size size);
void *std_realloc(void *pointer, uint_size size);

/// A block at a multiple of `alignment`, a power of two of at most 2^31 (less than 4 counts as 4), or null. Only the
/// two calls below may take it back.
void *std_aligned_malloc(uint_size size, uint_size alignment);

/// A null pointer makes a new block. The old one stays when there is no memory for the new one.
void *std_aligned_realloc(void *pointer, uint_size size, uint_size alignment);
void std_aligned_free(void *pointer);

/// Bytes of one page of memory.
uint_size std_page_size();

/// Sleeps for that long, or less when signals come.
void std_sleep(uint32 milliseconds);
} // namespace Keld
