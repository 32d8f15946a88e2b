#pragma once

#include "KeldFoundation/CStd/LargeMemory.h"

#include <memory>
#include <new>
#include <type_traits>
#include <utility>
#include <vector>

namespace Keld
{
/// For rows of many small records that live for a short time. A large row lies in huge pages, since to bring in its
/// pages one by one would cost as much as the work on it.
///
/// Elements that `resize` adds are not set where their type leaves that open: most rows are filled at once.
template <class Element>
class LargeAllocator
{
public:
    using value_type = Element;

    LargeAllocator() = default;
    template <class Other>
    LargeAllocator(const LargeAllocator<Other> &)
    {
    }

    Element *allocate(uint_size count)
    {
        const uint_size size = count * sizeof(Element); // below 2^63: a vector asks for no more
        if (size < SmallestMapping)
        {
            return std::allocator<Element>().allocate(count);
        }
        char *const mapping = MapLarge(GetMappedSize(size));
        if (mapping == nullptr)
        {
            throw std::bad_alloc();
        }
        return reinterpret_cast<Element *>(mapping);
    }

    void deallocate(Element *elements, uint_size count)
    {
        const uint_size size = count * sizeof(Element);
        if (size < SmallestMapping)
        {
            std::allocator<Element>().deallocate(elements, count);
            return;
        }
        UnmapLarge(reinterpret_cast<char *>(elements), GetMappedSize(size));
    }

    template <class Constructed, class... Arguments>
    void construct(Constructed *place, Arguments &&...arguments)
    {
        if constexpr (sizeof...(Arguments) == 0)
        {
            ::new (static_cast<void *>(place)) Constructed;
        }
        else
        {
            ::new (static_cast<void *>(place)) Constructed{std::forward<Arguments>(arguments)...};
        }
    }

    bool operator==(const LargeAllocator &) const { return true; }

private:
    static constexpr uint_size SmallestMapping = HugePageSize / 2;

    /// A last huge page is filled up where that takes no more than half of it.
    static constexpr uint_size GetMappedSize(uint_size size)
    {
        const uint_size rest = size % HugePageSize;
        return rest >= HugePageSize / 2 ? size - rest + HugePageSize : size;
    }
};

template <class Element>
using LargeVector = std::vector<Element, LargeAllocator<Element>>;
} // namespace Keld
