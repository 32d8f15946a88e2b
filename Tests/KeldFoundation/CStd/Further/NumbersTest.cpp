#include "KeldFoundation/CStd/Further/Numbers.h"

#include <gtest/gtest.h>

#include <limits>
#include <string>

namespace Keld::Test
{
namespace
{
std::string Signed(int32 value, int base)
{
    char buffer[34] = "old";
    EXPECT_EQ(std_itoa(value, buffer, base), buffer);
    return buffer;
}

std::string Unsigned(uint32 value, int base)
{
    char buffer[34] = "old";
    EXPECT_EQ(std_utoa(value, buffer, base), buffer);
    return buffer;
}

std::string Long(int64 value, int base)
{
    char buffer[24] = "old";
    EXPECT_EQ(std_i64toa(value, buffer, base), buffer);
    return buffer;
}

constexpr int32 Lowest = std::numeric_limits<int32>::min();
} // namespace

TEST(NumbersTest, ForwardsPlainCalls)
{
    char *end = nullptr;
    const char *const text = "12.5x";
    EXPECT_EQ(std_atoi("-12x"), -12);
    EXPECT_EQ(std_atol("123456"), 123456L);
    EXPECT_EQ(std_strtod(text, &end), 12.5);
    EXPECT_EQ(end, text + 4);
}

TEST(NumbersTest, WritesSignedNumbersInAnyBase)
{
    EXPECT_EQ(Signed(0, 10), "0");
    EXPECT_EQ(Signed(1234567890, 10), "1234567890");
    EXPECT_EQ(Signed(-255, 10), "-255");
    EXPECT_EQ(Signed(-255, 16), "-ff");
    EXPECT_EQ(Signed(35, 36), "z");
    EXPECT_EQ(Signed(-35, 36), "-z");
    EXPECT_EQ(Signed(5, 2), "101");
}

TEST(NumbersTest, WritesTheLowestNumber)
{
    EXPECT_EQ(Signed(Lowest, 10), "-2147483648");
    EXPECT_EQ(Signed(Lowest, 2), "-1" + std::string(31, '0'));
    EXPECT_EQ(Signed(Lowest, 36), "-zik0zk");
}

TEST(NumbersTest, WritesUnsignedNumbersInAnyBase)
{
    EXPECT_EQ(Unsigned(0xFFFFFFFF, 10), "4294967295");
    EXPECT_EQ(Unsigned(0xFFFFFFFF, 16), "ffffffff");
    EXPECT_EQ(Unsigned(0xFFFFFFFF, 2), std::string(32, '1'));
    EXPECT_EQ(Unsigned(0, 36), "0");
}

TEST(NumbersTest, GivesAnEmptyTextForAnotherBase)
{
    for (const int base : {-2, 0, 1, 37, 100})
    {
        EXPECT_EQ(Signed(5, base), "") << base;
        EXPECT_EQ(Unsigned(5, base), "") << base;
    }
}

TEST(NumbersTest, ReportsAnotherBaseAndATextThatDoesNotFit)
{
    char buffer[4] = "old";
    EXPECT_EQ(std_itoa_s(-12, buffer, sizeof buffer, 10), 0);
    EXPECT_STREQ(buffer, "-12");
    EXPECT_EQ(std_itoa_s(-123, buffer, sizeof buffer, 10), -1);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(std_itoa_s(1, buffer, sizeof buffer, 37), -1);
    EXPECT_STREQ(buffer, "");
    EXPECT_EQ(std_itoa_s(1, buffer, 0, 10), -1);
}

TEST(NumbersTest, WritesLongNumbersInTwoBasesAlone)
{
    EXPECT_EQ(Long(-1, 16), "ffffffffffffffff");
    EXPECT_EQ(Long(0x123456789ABCDEF0, 16), "123456789abcdef0");
    EXPECT_EQ(Long(std::numeric_limits<int64>::min(), 10), "-9223372036854775808");
    EXPECT_EQ(Long(5, 8), "old");
    EXPECT_EQ(Long(5, 0), "old");
}
} // namespace Keld::Test
