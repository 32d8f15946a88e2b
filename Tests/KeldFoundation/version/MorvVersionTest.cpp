#include "KeldFoundation/version/MorvVersion.h"

#include "KeldMorvIO/Version.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::Test
{
namespace
{
constexpr MorvVersion Stale = 0xDEADBEEF;

std::string Formatted(const char *format)
{
    std::string out = "old";
    FormatVersionParts(out, format, uint8{7}, uint8{8}, uint8{255}, uint8{0});
    std::string wide = "old";
    FormatVersionParts(wide, format, uint16{7}, uint16{8}, uint16{255}, uint16{0});
    EXPECT_EQ(out, wide) << format;
    return out;
}
} // namespace

TEST(ParseVersionTest, PacksTheFirstPartOnTop)
{
    MorvVersion version = Stale;
    EXPECT_TRUE(ParseVersion("1.2.3.4", &version));
    EXPECT_EQ(version, 0x01020304u);
    EXPECT_TRUE(ParseVersion("255.255.255.255", &version));
    EXPECT_EQ(version, 0xFFFFFFFFu);
    EXPECT_TRUE(ParseVersion("0.0.0.0", &version));
    EXPECT_EQ(version, 0u);
}

TEST(ParseVersionTest, DoesNotLookAtWhatFollowsTheFourthNumber)
{
    for (const char *const text : {"1.2.3.4x", "1.2.3.4.5", "1.2.3.4\n", "1.2.3.4-rc"})
    {
        MorvVersion version = Stale;
        EXPECT_TRUE(ParseVersion(text, &version)) << text;
        EXPECT_EQ(version, 0x01020304u) << text;
    }
}

TEST(ParseVersionTest, LeavesZeroBehindAFailure)
{
    const char *const texts[] = {"1.2.3",      "1.2.3.",    "1.2.3.256", "256.0.0.0", "-1.2.3.4",  "1.2.3.-4",
                                 "1.2.3.4 ",   " 1.2.3.4",  "1. 2.3.4",  "1.2.3.4 x", "",          ".1.2.3",
                                 "a.b.c.d",    "0x1.2.3.4", "1,2,3,4",   "1..2.3",    "1\t.2.3.4", "-",
                                 "-\t1.2.3.4", "+-1.2.3.4", "v1.2.3.4"};
    for (const char *const text : texts)
    {
        MorvVersion version = Stale;
        EXPECT_FALSE(ParseVersion(text, &version)) << '"' << text << '"';
        EXPECT_EQ(version, 0u) << '"' << text << '"';
    }
    MorvVersion version = Stale;
    EXPECT_FALSE(ParseVersion(nullptr, &version));
    EXPECT_EQ(version, 0u);
}

TEST(ParseVersionTest, RefusesNumbersThatWouldWrapAround)
{
    for (const char *const text : {"4294967297.2.3.4", "1.2.3.4294967300", "18446744073709551617.2.3.4",
                                   "1.340282366920938463463374607431768211457.3.4", "-4294967295.2.3.4"})
    {
        MorvVersion version = Stale;
        EXPECT_FALSE(ParseVersion(text, &version)) << text;
        EXPECT_EQ(version, 0u) << text;
    }
}

TEST(ParseVersionTest, SkipsWhatAScanSkips)
{
    for (const char *const text : {"\t1.2.3.4", "1.\n2.3.4", "\r\v\f1.2.3.4", "+1.2.3.4", "01.002.0003.4", "1.+2.3.4"})
    {
        MorvVersion version = Stale;
        EXPECT_TRUE(ParseVersion(text, &version)) << text;
        EXPECT_EQ(version, 0x01020304u) << text;
    }
    MorvVersion version = Stale;
    EXPECT_TRUE(ParseVersion("-0.2.3.4", &version));
    EXPECT_EQ(version, 0x00020304u);
}

TEST(ParseWideVersionTest, PacksFourPartsOfSixteenBits)
{
    WideVersion version = Stale;
    EXPECT_TRUE(ParseWideVersion("1.2.3.4", &version));
    EXPECT_EQ(version, 0x0001000200030004u);
    EXPECT_TRUE(ParseWideVersion("65535.256.0.65535", &version));
    EXPECT_EQ(version, 0xFFFF01000000FFFFu);
}

TEST(ParseWideVersionTest, LeavesZeroBehindAFailure)
{
    for (const char *const text :
         {"65536.0.0.0", "1.2.3", "1.2.3.4 ", "-1.2.3.4", "4294967297.0.0.0", "1.2.3.18446744073709551617"})
    {
        WideVersion version = Stale;
        EXPECT_FALSE(ParseWideVersion(text, &version)) << text;
        EXPECT_EQ(version, 0u) << text;
    }
    WideVersion version = Stale;
    EXPECT_FALSE(ParseWideVersion(nullptr, &version));
    EXPECT_EQ(version, 0u);
}

TEST(FormatVersionTest, WritesTheDottedText)
{
    EXPECT_EQ(FormatVersion(0x01020304), "1.2.3.4");
    EXPECT_EQ(FormatVersion(0), "0.0.0.0");
    EXPECT_EQ(FormatVersion(0xFFFFFFFF), "255.255.255.255");
    EXPECT_EQ(FormatWideVersion(0x0001000200030004), "1.2.3.4");
    EXPECT_EQ(FormatWideVersion(0xFFFFFFFFFFFFFFFF), "65535.65535.65535.65535");
}

TEST(FormatVersionTest, ReplacesWhatTheStringHeld)
{
    std::string out = "old";
    FormatVersion(0x0A0B0C0D, out);
    EXPECT_EQ(out, "10.11.12.13");
    FormatWideVersion(0x000A000B000C000D, out);
    EXPECT_EQ(out, "10.11.12.13");
}

TEST(FormatVersionTest, SortsLikeTheVersions)
{
    MorvVersion older = 0;
    MorvVersion newer = 0;
    ASSERT_TRUE(ParseVersion("1.2.255.255", &older));
    ASSERT_TRUE(ParseVersion("1.10.0.0", &newer));
    EXPECT_LT(older, newer);
}

TEST(FormatVersionPartsTest, WritesPartsByTheirIndex)
{
    EXPECT_EQ(Formatted("%0.%1.%2.%3"), "7.8.255.0");
    EXPECT_EQ(Formatted("%3%2 %0"), "0255 7");
    EXPECT_EQ(Formatted("no parts"), "no parts");
    EXPECT_EQ(Formatted(""), "");
}

TEST(FormatVersionPartsTest, PadsToAWidth)
{
    EXPECT_EQ(Formatted("%(3)0|%1"), "  7|8");
    EXPECT_EQ(Formatted("%(3)2|%(2)2|%(0)2|%(9)3"), "255|255|255|        0");
}

TEST(FormatVersionPartsTest, ReadsAPrecisionThatHasNoEffect)
{
    EXPECT_EQ(Formatted("%(.3)0|"), "7|");
    EXPECT_EQ(Formatted("%(3.9)0|%(2.0)1"), "  7| 8");
}

TEST(FormatVersionPartsTest, CopiesUnknownParts)
{
    EXPECT_EQ(Formatted("%9"), "%9");
    EXPECT_EQ(Formatted("%4%0"), "%47");
    EXPECT_EQ(Formatted("%(3)4|%(.3)5|%(3.2)6|%0"), "%(3)4|%(.3)5|%(3.2)6|7");
}

TEST(FormatVersionPartsTest, WritesPercentSigns)
{
    EXPECT_EQ(Formatted("100%%"), "100%");
    EXPECT_EQ(Formatted("%%0"), "%0");
    EXPECT_EQ(Formatted("100%"), "100%");
    EXPECT_EQ(Formatted("%"), "%");
    EXPECT_EQ(Formatted("%%%"), "%%");
}

TEST(FormatVersionPartsTest, CopiesWhatIsNoField)
{
    EXPECT_EQ(Formatted("%d"), "%d");
    EXPECT_EQ(Formatted("%(0"), "%(0");
    EXPECT_EQ(Formatted("%()0"), "%()0");
    EXPECT_EQ(Formatted("%(.)0"), "%(.)0");
    EXPECT_EQ(Formatted("%(12)0"), "%(12)0");
    EXPECT_EQ(Formatted("%(1.)0"), "%(1.)0");
    EXPECT_EQ(Formatted("%(1)x"), "%(1)x");
    EXPECT_EQ(Formatted("%(1)%0"), "%(1)7");
    EXPECT_EQ(Formatted("%("), "%(");
    EXPECT_EQ(Formatted("%(1"), "%(1");
    EXPECT_EQ(Formatted("%(1)"), "%(1)");
}

TEST(ReaderVersionTest, ForwardsToTheFoundation)
{
    MorvVersion version = Stale;
    EXPECT_TRUE(MORV::Reader::ParseVersion("1.2.3.4", &version));
    EXPECT_EQ(version, 0x01020304u);
    EXPECT_FALSE(MORV::Reader::ParseVersion("1.2.3", &version));
    EXPECT_EQ(version, 0u);
    EXPECT_EQ(MORV::Reader::FormatVersion(0x01020304), "1.2.3.4");
    std::string out;
    MORV::Reader::FormatVersion(0x04030201, out);
    EXPECT_EQ(out, "4.3.2.1");
}

TEST(NullNameTest, IsThereFromLoadTimeOn)
{
    EXPECT_EQ(gNullName, "__NullName__");
}
} // namespace Keld::Test
