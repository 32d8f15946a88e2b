#include "KeldMorvIO/listing/ListingBlock.h"

#include "KeldFoundation/CStd/LargeMemory.h"

#include <new>

namespace Keld::MORV::Reader
{
namespace
{
/// From here on a block is worth a mapping of its own: below, the pages that it cannot fill would be too much of it.
constexpr uint_size MappedBlockSize = 2 * HugePageSize;
} // namespace

ListingBlock::ListingBlock(uint_size size)
{
    if (size < MappedBlockSize)
    {
        mData = {new char[size](), Release{0}};
        return;
    }
    char *const data = MapLarge(size);
    if (data == nullptr)
    {
        throw std::bad_alloc();
    }
    mData = {data, Release{size}};
}

void ListingBlock::Release::operator()(char *data) const
{
    if (mMappedSize == 0)
    {
        delete[] data;
        return;
    }
    UnmapLarge(data, mMappedSize);
}
} // namespace Keld::MORV::Reader
