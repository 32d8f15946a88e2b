#include "KeldMorvIO/listing/ListingBlock.h"

#include <cerrno>
#include <cstdint>
#include <new>

#include <sys/mman.h>

namespace Keld::MORV::Reader
{
namespace
{
/// Also the alignment without which a huge page cannot be given. Of all platforms that the library is built for.
constexpr uint_size HugePageSize = 0x200000;

/// From here on a block is worth a mapping of its own: below, the pages that it cannot fill would be too much of it.
constexpr uint_size MappedBlockSize = 2 * HugePageSize;

/// A zeroed mapping that begins at a huge page. Null when there is no memory.
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
    madvise(data, size, MADV_HUGEPAGE); // a platform that has none keeps its pages
#endif
    return data;
}

constexpr uint_size RoundUpToPage(uint_size size)
{
    constexpr uint_size largestPageSize = 0x10000;
    return (size + largestPageSize - 1) / largestPageSize * largestPageSize;
}
} // namespace

ListingBlock::ListingBlock(uint_size size)
{
    if (size < MappedBlockSize)
    {
        mData = {new char[size](), Release{0}};
        return;
    }
    const int error = errno; // of earlier calls, which others may still ask for
    const uint_size mappedSize = RoundUpToPage(size);
    char *const data = MapAligned(mappedSize);
    errno = error;
    if (data == nullptr)
    {
        throw std::bad_alloc();
    }
    mData = {data, Release{mappedSize}};
}

void ListingBlock::Release::operator()(char *data) const
{
    if (mMappedSize == 0)
    {
        delete[] data;
        return;
    }
    munmap(data, mMappedSize);
}
} // namespace Keld::MORV::Reader
