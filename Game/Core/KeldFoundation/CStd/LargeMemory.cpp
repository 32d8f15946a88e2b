#include "KeldFoundation/CStd/LargeMemory.h"

#include <cerrno>
#include <cstdint>

#include <sys/mman.h>

namespace Keld
{
namespace
{
constexpr uint_size RoundUpToPage(uint_size size)
{
    constexpr uint_size largestPageSize = 0x10000;
    return (size + largestPageSize - 1) / largestPageSize * largestPageSize;
}

char *MapAligned(uint_size size)
{
    // Room for the alignment, of which the ends are given back.
    void *const mapping =
        mmap(nullptr, size + HugePageSize, PROT_READ | PROT_WRITE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
    if (mapping == MAP_FAILED)
    {
        return nullptr;
    }
    char *const begin = static_cast<char *>(mapping);
    const uint_size before = (HugePageSize - reinterpret_cast<std::uintptr_t>(begin) % HugePageSize) % HugePageSize;
    if (before != 0)
    {
        munmap(begin, before);
    }
    char *const data = begin + before;
    munmap(data + size, HugePageSize - before);
#ifdef MADV_HUGEPAGE
    madvise(data, size, MADV_HUGEPAGE);
#endif
    return data;
}
} // namespace

char *MapLarge(uint_size size)
{
    const int error = errno; // of earlier calls, which others may still ask for
    char *const data = MapAligned(RoundUpToPage(size));
    errno = error;
    return data;
}

void UnmapLarge(char *mapping, uint_size size)
{
    munmap(mapping, RoundUpToPage(size));
}
} // namespace Keld
