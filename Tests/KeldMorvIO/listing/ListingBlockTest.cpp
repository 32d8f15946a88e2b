#include "KeldMorvIO/listing/ListingBlock.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <cerrno>
#include <new>
#include <utility>

namespace Keld::MORV::Reader
{
namespace
{
TEST(ListingBlock, IsZeroedWhateverItsSize)
{
    for (const uint_size size :
         {uint_size{1}, uint_size{4095}, uint_size{0x3FFFFF}, uint_size{0x400000}, uint_size{0x765432}})
    {
        SCOPED_TRACE(size);
        errno = EDOM;
        const ListingBlock block(size);
        EXPECT_EQ(errno, EDOM);
        ASSERT_NE(block.GetData(), nullptr);
        EXPECT_TRUE(std::all_of(block.GetData(), block.GetData() + size,
                                [](char byte)
                                {
                                    return byte == 0;
                                }));
        std::fill(block.GetData(), block.GetData() + size, '\x7F'); // all of it is there to be written
    }
}

TEST(ListingBlock, StaysWhereItIsWhenItIsPassedOn)
{
    for (const uint_size size : {uint_size{100}, uint_size{0x500000}})
    {
        ListingBlock first(size);
        char *const data = first.GetData();
        const ListingBlock second(std::move(first));
        EXPECT_EQ(second.GetData(), data);
        data[size - 1] = 'x';
    }
}

TEST(ListingBlock, ThrowsWhenThereIsNoMemory)
{
    EXPECT_THROW(ListingBlock(uint_size{1} << 56), std::bad_alloc);
}
} // namespace
} // namespace Keld::MORV::Reader
