#include "KeldFoundation/CStd/Further/Memory.h"

#include "KeldFoundation/CStd/CStd.h"

#include <algorithm>
#include <bit>
#include <cstdlib>
#include <cstring>
#include <limits>

#include <malloc.h>
#include <unistd.h>

namespace Keld
{
namespace
{
// The 32 bits before a block say how far behind the platform's own block it begins.
using Distance = uint32;

constexpr uint_size LeastAlignment = sizeof(Distance);
constexpr uint_size GreatestAlignment = uint_size{1} << 31;

constexpr uint32 LongestNap = 999; // milliseconds

Distance DistanceOf(const void *pointer)
{
    Distance distance;
    std::memcpy(&distance, static_cast<const char *>(pointer) - sizeof distance, sizeof distance);
    return distance;
}

char *PlatformBlock(void *pointer)
{
    return static_cast<char *>(pointer) - DistanceOf(pointer);
}
} // namespace

void std_memfill(void *dest, uint8 value, uint_size size)
{
    std::fill_n(static_cast<uint8 *>(dest), size, value);
}

int std_memcmp(const void *lhs, const void *rhs, uint_size size)
{
    return std::memcmp(lhs, rhs, size);
}

void *std_realloc(void *pointer, uint_size size)
{
    return std::realloc(pointer, size);
}

void *std_aligned_malloc(uint_size size, uint_size alignment)
{
    alignment = std::max(alignment, LeastAlignment);
    const bool valid = std::has_single_bit(alignment) && alignment <= GreatestAlignment &&
                       size <= std::numeric_limits<uint_size>::max() - alignment;
    auto *const block = valid ? static_cast<char *>(std_malloc(size + alignment)) : nullptr;
    if (block == nullptr)
    {
        return nullptr;
    }
    // Always forward, by 4 bytes or more since the platform aligns to at least that: room for the distance.
    const auto distance = static_cast<Distance>(alignment - reinterpret_cast<std::uintptr_t>(block) % alignment);
    char *const result = block + distance;
    std::memcpy(result - sizeof distance, &distance, sizeof distance);
    return result;
}

void *std_aligned_realloc(void *pointer, uint_size size, uint_size alignment)
{
    void *const result = std_aligned_malloc(size, alignment);
    if (pointer != nullptr && result != nullptr)
    {
        const uint_size held = malloc_usable_size(PlatformBlock(pointer)) - DistanceOf(pointer);
        std::memcpy(result, pointer, std::min(held, size));
        std_aligned_free(pointer);
    }
    return result;
}

void std_aligned_free(void *pointer)
{
    if (pointer != nullptr)
    {
        std_free(PlatformBlock(pointer));
    }
}

uint_size std_page_size()
{
    return static_cast<uint_size>(sysconf(_SC_PAGESIZE));
}

void std_sleep(uint32 milliseconds)
{
    // In naps, since the platform may refuse a second or more at once.
    while (milliseconds != 0)
    {
        const uint32 nap = std::min(milliseconds, LongestNap);
        usleep(nap * 1000);
        milliseconds -= nap;
    }
}
} // namespace Keld
