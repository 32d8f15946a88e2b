#include "KeldFoundation/CStd/Further/WideStrings.h"

#include "KeldFoundation/CStd/CStd.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::Test
{
TEST(WideStringsTest, ForwardsPlainCalls)
{
    wchar_t buffer[16];
    EXPECT_EQ(std_wcscpy(buffer, L"ab"), buffer);
    EXPECT_EQ(std_wcscat(buffer, L"cd"), buffer);
    EXPECT_STREQ(buffer, L"abcd");
    EXPECT_EQ(std_wcslen(buffer), 4u);
    EXPECT_EQ(std_wcschr(buffer, L'c'), buffer + 2);
    EXPECT_EQ(std_swprintf(buffer, 16, L"%d/%ls", 12, L"x"), 4);
    EXPECT_STREQ(buffer, L"12/x");
    EXPECT_EQ(std_mbstowcs(buffer, "narrow", 16), 6u);
    EXPECT_STREQ(buffer, L"narrow");
    char narrow[16];
    EXPECT_EQ(std_wcstombs(narrow, L"wide", sizeof narrow), 4u);
    EXPECT_STREQ(narrow, "wide");
}

TEST(WideStringsTest, ReadsNumbersInBaseTen)
{
    wchar_t *end = nullptr;
    const wchar_t *const text = L"0x10";
    EXPECT_EQ(std_wcstol(text, &end), 0);
    EXPECT_EQ(end, text + 1);
    EXPECT_EQ(std_wcstol(L"-012", nullptr), -12);
}

TEST(WideStringsTest, CopiesAndAppendsWithinTheBuffer)
{
    wchar_t buffer[4];
    EXPECT_EQ(std_wcslcpy(buffer, 4, L"abcdef"), 6u);
    EXPECT_STREQ(buffer, L"abc");
    EXPECT_EQ(std_wcslcpy(buffer, 4, L"a"), 1u);
    EXPECT_EQ(std_wcslcat(buffer, 4, L"bcd"), 4u);
    EXPECT_STREQ(buffer, L"abc");
    EXPECT_EQ(std_wcslcat(buffer, 3, L"xy"), 5u);
    EXPECT_STREQ(buffer, L"abc");
    EXPECT_EQ(std_wcslcpy(buffer, 0, L"xy"), 2u);
    EXPECT_STREQ(buffer, L"abc");
}

TEST(WideStringsTest, ComparesWithoutRegardToCase)
{
    EXPECT_EQ(std_wcsicmp(L"AbC", L"aBc"), 0);
    EXPECT_LT(std_wcsicmp(L"ab", L"AC"), 0);
    EXPECT_LT(std_wcsicmp(L"_", L"A"), 0);
    EXPECT_GT(std_wcsicmp(L"abc", L"AB"), 0);
}

TEST(WideStringsTest, DuplicatesTheWholeText)
{
    const std::wstring text(1000, L'x');
    wchar_t *const copy = std_wcsdup(text.c_str());
    ASSERT_NE(copy, nullptr);
    EXPECT_EQ(copy, text);
    std_free(copy);
}
} // namespace Keld::Test
