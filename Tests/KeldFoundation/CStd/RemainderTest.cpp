#include "KeldFoundation/CStd/Remainder.h"

#include <gtest/gtest.h>

#include <random>
#include <vector>

namespace Keld
{
namespace
{
TEST(RemainderTest, IsThatOfADivision)
{
    std::mt19937 random(4);
    std::vector<uint32> numbers{1, 2, 3, 7, 8, 1'000'003, 0x7FFFFFFF, 0x80000000, 0x80000001, 0xFFFFFFFE, 0xFFFFFFFF};
    for (int count = 0; count < 300; ++count)
    {
        numbers.push_back(static_cast<uint32>(random()) >> random() % 32 | 1);
    }
    for (const uint32 divisor : numbers)
    {
        const Remainder remainder(divisor);
        EXPECT_EQ(0u, remainder.Of(0));
        for (const uint32 number : numbers)
        {
            ASSERT_EQ(number % divisor, remainder.Of(number)) << number << " by " << divisor;
            ASSERT_EQ((number - 1) % divisor, remainder.Of(number - 1)) << number - 1 << " by " << divisor;
        }
    }
}
} // namespace
} // namespace Keld
