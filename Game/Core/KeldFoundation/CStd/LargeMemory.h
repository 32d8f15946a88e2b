#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld
{
/// Also the alignment without which a huge page cannot be given. Of all platforms that the library is built for.
inline constexpr uint_size HugePageSize = 0x200000;

/// A mapping of zeroed memory that asks for huge pages: the system brings in two megabytes at a time, where each page
/// of four kilobytes would cost an exception of its own, and fewer places of the page tables are searched. It begins at
/// a huge page. A platform that has none keeps its pages. `errno` stays.
/// \returns null when there is no memory.
char *MapLarge(uint_size size);

/// \param size as it was mapped.
void UnmapLarge(char *mapping, uint_size size);
} // namespace Keld
