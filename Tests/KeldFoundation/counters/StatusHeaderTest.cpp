#include "KeldFoundation/counters/StatusHeader.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include <string>

namespace Keld::Test
{
namespace
{
class StatusHeaderTest : public ::testing::Test
{
protected:
    ~StatusHeaderTest() override { Switch(true, false); }

    static void Switch(bool memory, bool counters)
    {
        gStatusHeader.mMemoryHeader.store(memory);
        gStatusHeader.mHeaderCounters.store(counters);
    }

    static std::string Format(const StatusFigures &figures)
    {
        char text[128] = {};
        const uint_size length = FormatStatusFigures(text, sizeof text, figures);
        EXPECT_EQ(length, std::char_traits<char>::length(text));
        return text;
    }

    static std::string FormatPresent()
    {
        char text[128] = {};
        FormatStatusHeader(text, sizeof text);
        return text;
    }
};

TEST_F(StatusHeaderTest, PrintsTimeAndMemoryByDefault)
{
    EXPECT_EQ(Format({12.345f, 0, 0, 0, 0}), "000012.345|       0.0000kb|      0.0000kb added");
    EXPECT_EQ(Format({1.5f, 1536, 512, 7, 8}), "000001.500|       1.0500kb|      0.0500kb added");
}

TEST_F(StatusHeaderTest, PrintsTheTimeAloneWithoutMemory)
{
    Switch(false, true);
    EXPECT_EQ(Format({12.345f, 1024, 1024, 7, 8}), "000012.345");
}

TEST_F(StatusHeaderTest, PrintsTwoMoreFiguresOnRequest)
{
    Switch(true, true);
    EXPECT_EQ(Format({0.25f, 2048, -1024, 7, 8}), "000000.250| 0000007| 0000008|       2.0000kb|     -1.0000kb added");
}

TEST_F(StatusHeaderTest, TheRestOfANegativeDeltaIsNegative)
{
    EXPECT_EQ(Format({0.0f, 0, -1536, 0, 0}), "000000.000|       0.0000kb|     -1.-500kb added");
}

TEST_F(StatusHeaderTest, PrintsLargeFigures)
{
    EXPECT_EQ(Format({3000000.0f, 0xFFFFFFFF, 0x7FFFFFFF, 0, 0}), "3000000.000| 4194304.0000kb| 2097152.0000kb added");
}

TEST_F(StatusHeaderTest, ThePresentFiguresOfMemoryAreZero)
{
    EXPECT_THAT(FormatPresent(), testing::MatchesRegex("[0-9]+\\.[0-9]+\\|       0\\.0000kb\\|      0\\.0000kb added"));
    EXPECT_THAT(FormatPresent(), testing::HasSubstr("0.0000kb added"));
    Switch(true, true);
    EXPECT_THAT(FormatPresent(), testing::MatchesRegex("[0-9]+\\.[0-9]+\\| 0000000\\| 0000000\\|       "
                                                       "0\\.0000kb\\|      0\\.0000kb added"));
    Switch(false, false);
    EXPECT_THAT(FormatPresent(), testing::MatchesRegex("[0-9][0-9][0-9][0-9][0-9][0-9]\\.[0-9][0-9][0-9]"));
}

TEST_F(StatusHeaderTest, IsCutToItsBuffer)
{
    char text[8] = {};
    EXPECT_EQ(FormatStatusFigures(text, sizeof text, {12.345f, 0, 0, 0, 0}), static_cast<uint_size>(-1));
    EXPECT_STREQ(text, "000012.");
}
} // namespace
} // namespace Keld::Test
