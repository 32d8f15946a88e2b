#include "KeldFoundation/CStd/LargeVector.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdint>
#include <new>

namespace Keld
{
namespace
{
TEST(LargeVectorTest, KeepsItsElementsAsItGrowsIntoLargeMemory)
{
    LargeVector<uint32> numbers;
    constexpr uint32 count = 3'000'000;
    for (uint32 number = 0; number < count; ++number)
    {
        numbers.push_back(number);
    }
    for (uint32 number = 0; number < count; ++number)
    {
        ASSERT_EQ(number, numbers[number]);
    }
    const LargeVector<uint32> copy = numbers;
    EXPECT_EQ(numbers, copy);
    LargeVector<uint32>().swap(numbers);
    EXPECT_EQ(count - 1, copy.back());
}

TEST(LargeVectorTest, CanBeWrittenToItsEndWhateverItsSize)
{
    for (const uint_size size : {uint_size{0}, uint_size{1}, HugePageSize / 2 - 1, HugePageSize / 2, HugePageSize - 1,
                                 HugePageSize, HugePageSize + 1, 2 * HugePageSize - 1, 3 * HugePageSize + 12345})
    {
        SCOPED_TRACE(size);
        errno = EDOM;
        const LargeVector<char> bytes(size, '\x7F');
        EXPECT_EQ(EDOM, errno);
        EXPECT_TRUE(bytes.empty() || bytes.back() == '\x7F');
    }
}

TEST(LargeVectorTest, LargeOnesBeginAtAHugePage)
{
    const LargeVector<char> bytes(HugePageSize, ' ');
    EXPECT_EQ(0u, reinterpret_cast<std::uintptr_t>(bytes.data()) % HugePageSize);
}

TEST(LargeVectorTest, ThrowsWhenThereIsNoMemory)
{
    LargeVector<char> bytes;
    EXPECT_THROW(bytes.reserve(uint_size{1} << 56), std::bad_alloc);
}

TEST(LargeMemoryTest, IsZeroedAndNullWhereThereIsNone)
{
    errno = EDOM;
    constexpr uint_size size = HugePageSize + 100;
    char *const data = MapLarge(size);
    ASSERT_NE(nullptr, data);
    for (uint_size index = 0; index < size; ++index)
    {
        ASSERT_EQ('\0', data[index]);
    }
    UnmapLarge(data, size);
    EXPECT_EQ(nullptr, MapLarge(uint_size{1} << 56));
    EXPECT_EQ(EDOM, errno);
}
} // namespace
} // namespace Keld
