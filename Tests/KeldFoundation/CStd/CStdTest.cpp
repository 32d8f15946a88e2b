#include "KeldFoundation/CStd/CStd.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <climits>
#include <csignal>
#include <cstring>
#include <string>
#include <vector>

namespace Keld::Test
{
namespace
{
constexpr uint_size CutText = static_cast<uint_size>(-1);

// The nulls go through variables, so that no compiler sees them at the call.
char *const NoText = nullptr;
} // namespace

TEST(StrncpyTest, CutsSilentlyInTruncateMode)
{
    char buffer[4] = {'x', 'x', 'x', 'x'};
    EXPECT_EQ(std_strncpy(buffer, sizeof buffer, "abcdef", TRUNCATE), buffer);
    EXPECT_STREQ(buffer, "abc");
}

TEST(StrncpyTest, CopiesATextThatJustFits)
{
    char buffer[4] = {'x', 'x', 'x', 'x'};
    std_strncpy(buffer, sizeof buffer, "abc", TRUNCATE);
    EXPECT_STREQ(buffer, "abc");
}

TEST(StrncpyTest, CopiesAtMostCountCharacters)
{
    char buffer[8] = {};
    EXPECT_STREQ(std_strncpy(buffer, 4, "ab", 3), "ab");
    EXPECT_STREQ(std_strncpy(buffer, 4, "abcdef", 3), "abc");
    EXPECT_STREQ(std_strncpy(buffer, 4, "abcdef", 0), "");
}

TEST(StrncpyTest, LeavesBytesBehindTheTextAlone)
{
    char buffer[6] = {'1', '2', '3', '4', '5', '6'};
    std_strncpy(buffer, sizeof buffer, "ab", 5);
    EXPECT_EQ(std::string(buffer, sizeof buffer), std::string("ab\000456", 6));
}

TEST(StrncpyTest, WritesNothingIntoABufferOfNoBytes)
{
    char buffer[1] = {'x'};
    EXPECT_EQ(std_strncpy(buffer, 0, "abc", TRUNCATE), buffer);
    EXPECT_EQ(buffer[0], 'x');
}

TEST(StrncpyTest, StopsOnACountThatCouldCutEvenWhenTheTextFits)
{
    char buffer[10];
    EXPECT_EXIT(std_strncpy(buffer, 4, "ab", 4), testing::KilledBySignal(SIGILL), "");
    EXPECT_EXIT(std_strncpy(buffer, 10, "abc", 10), testing::KilledBySignal(SIGILL), "");
    EXPECT_EXIT(std_strncpy(buffer, 0, "", 0), testing::KilledBySignal(SIGILL), "");
}

TEST(StrncpyTest, StopsOnNullPointers)
{
    char buffer[4];
    EXPECT_EXIT(std_strncpy(NoText, 4, "ab", TRUNCATE), testing::KilledBySignal(SIGILL), "");
    EXPECT_EXIT(std_strncpy(buffer, 4, NoText, TRUNCATE), testing::KilledBySignal(SIGILL), "");
}

TEST(StrncatTest, AppendsWithinTheSpaceThatIsLeft)
{
    char buffer[8] = "abc";
    EXPECT_EQ(std_strncat(buffer, sizeof buffer, "def", 4), buffer);
    EXPECT_STREQ(buffer, "abcdef");
}

TEST(StrncatTest, NeverFailsInTruncateMode)
{
    char buffer[6] = "abc";
    EXPECT_STREQ(std_strncat(buffer, sizeof buffer, "defgh", TRUNCATE), "abcde");
    EXPECT_STREQ(std_strncat(buffer, sizeof buffer, "more", TRUNCATE), "abcde");
}

TEST(StrncatTest, StopsOnACountAsLargeAsTheSpaceThatIsLeft)
{
    char buffer[8] = "abc";
    EXPECT_EXIT(std_strncat(buffer, sizeof buffer, "d", 5), testing::KilledBySignal(SIGILL), "");
}

TEST(StrncatTest, StopsOnABufferWithoutAnEnd)
{
    char buffer[3] = {'a', 'b', 'c'};
    EXPECT_EXIT(std_strncat(buffer, sizeof buffer, "", TRUNCATE), testing::KilledBySignal(SIGILL), "");
}

TEST(StrncatTest, StopsOnNullPointers)
{
    char buffer[4] = "";
    EXPECT_EXIT(std_strncat(NoText, 4, "ab", TRUNCATE), testing::KilledBySignal(SIGILL), "");
    EXPECT_EXIT(std_strncat(buffer, 4, NoText, TRUNCATE), testing::KilledBySignal(SIGILL), "");
}

TEST(StrlcpyTest, CutsToTheBufferAndGivesIt)
{
    char buffer[4];
    EXPECT_EQ(std_strlcpy(buffer, sizeof buffer, "abcdef"), buffer);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_STREQ(std_strlcpy(buffer, sizeof buffer, "a"), "a");
}

TEST(StrlcpyTest, LooksAtNothingWhenTheSizeIsZero)
{
    char buffer[1] = {'x'};
    EXPECT_EQ(std_strlcpy(buffer, 0, NoText), buffer);
    EXPECT_EQ(buffer[0], 'x');
}

TEST(StrlcpyTest, StopsOnANullSource)
{
    char buffer[4];
    EXPECT_EXIT(std_strlcpy(buffer, sizeof buffer, NoText), testing::KilledBySignal(SIGILL), "");
}

TEST(StrnlenTest, StopsCountingAtTheCount)
{
    EXPECT_EQ(std_strnlen("abc", 10), 3u);
    EXPECT_EQ(std_strnlen("abc", 3), 3u);
    EXPECT_EQ(std_strnlen("abc", 2), 2u);
    EXPECT_EQ(std_strnlen("abc", 0), 0u);
    EXPECT_EQ(std_strnlen("", TRUNCATE), 0u);
    EXPECT_EQ(std_strnlen("abc", TRUNCATE), 3u);
}

TEST(StrnlenTest, StopsOnNull)
{
    EXPECT_EXIT(std_strnlen(NoText, 0), testing::KilledBySignal(SIGILL), "");
}

TEST(MemcpyTest, DoesNotCompareTheDestinationSizeWithAnything)
{
    char buffer[4] = {};
    EXPECT_EQ(std_memcpy(buffer, 1, "abcd", 4), buffer);
    EXPECT_EQ(std::string(buffer, 4), "abcd");
    EXPECT_EQ(std_memcpy(buffer, 0, "x", 1), buffer);
    EXPECT_EQ(buffer[0], 'x');
}

TEST(MemcpyTest, StopsOnNullPointersForACountOfZeroToo)
{
    char buffer[1] = {};
    EXPECT_EXIT(std_memcpy(NoText, 1, "a", 0), testing::KilledBySignal(SIGILL), "");
    EXPECT_EXIT(std_memcpy(buffer, 1, NoText, 0), testing::KilledBySignal(SIGILL), "");
}

TEST(MemoryCallsTest, FillAndClearAndAllocate)
{
    char *const block = static_cast<char *>(std_malloc(4));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(std_memset(block, 'z', 4), block);
    EXPECT_EQ(std::string(block, 4), "zzzz");
    std_bzero(block, 2);
    EXPECT_EQ(std::string(block, 4), std::string("\0\0zz", 4));
    std_free(block);
    std_free(nullptr);
}

TEST(StricmpTest, ComparesWithoutRegardToCase)
{
    EXPECT_EQ(std_stricmp("Data/A.DDS", "data/a.dds"), 0);
    EXPECT_LT(std_stricmp("ab", "AC"), 0);
    EXPECT_GT(std_stricmp("b", "ABC"), 0);
    EXPECT_LT(std_stricmp("ab", "ABC"), 0);
    EXPECT_EQ(std_stricmp("", ""), 0);
}

TEST(StricmpTest, FoldsToLowerCaseSoThatAnUnderscoreComesBeforeLetters)
{
    EXPECT_LT(std_stricmp("_", "a"), 0);
    EXPECT_LT(std_stricmp("_", "A"), 0);
    EXPECT_LT(std_strnicmp("_", "Z", 1), 0);
}

TEST(StricmpTest, ComparesBytesAsUnsignedAndFoldsNoneBeyondAscii)
{
    EXPECT_GT(std_stricmp("\x80", "z"), 0);
    EXPECT_GT(std_stricmp("\xE4", "\xC4"), 0);
    EXPECT_GT(std_stricmp("[", "@"), 0);
}

TEST(StricmpTest, TakesNullPointers)
{
    EXPECT_EQ(std_stricmp(nullptr, nullptr), 0);
    EXPECT_EQ(std_stricmp(nullptr, "a"), 1);
    EXPECT_EQ(std_stricmp("a", nullptr), 1);
    EXPECT_EQ(std_strnicmp(nullptr, nullptr, 3), 0);
    EXPECT_EQ(std_strnicmp(nullptr, "a", 0), 1);
    EXPECT_EQ(std_strnicmp("", nullptr, 3), 1);
}

TEST(StrnicmpTest, ComparesNoMoreThanTheLength)
{
    EXPECT_EQ(std_strnicmp("ABx", "aby", 2), 0);
    EXPECT_LT(std_strnicmp("ABx", "aby", 3), 0);
    EXPECT_EQ(std_strnicmp("a", "b", 0), 0);
    EXPECT_EQ(std_strnicmp("a", "A", 100), 0);
}

TEST(MemoryCallsTest, AllocateZerosAndFindAByte)
{
    auto *const block = static_cast<char *>(std_calloc(2, 3));
    ASSERT_NE(block, nullptr);
    EXPECT_EQ(std::string(block, 6), std::string(6, '\0'));
    block[4] = 'b';
    EXPECT_EQ(std_memchr(block, 'b', 6), block + 4);
    EXPECT_EQ(std_memchr(block, 'b', 4), nullptr);
    std_free(block);
}

TEST(SearchTest, ForwardsPlainSearchesAndComparisons)
{
    const char *const text = "a/b/c";
    EXPECT_EQ(std_strlen(text), 5u);
    EXPECT_EQ(std_strcmp("a", "a"), 0);
    EXPECT_GT(std_strcmp("a", "A"), 0);
    EXPECT_EQ(std_strchr(text, '/'), text + 1);
    EXPECT_EQ(std_strchr(text, 'x'), nullptr);
    EXPECT_EQ(std_strrchr(text, '/'), text + 3);
    EXPECT_EQ(std_strstr(text, "b/"), text + 2);
    EXPECT_EQ(std_strstr(text, "B/"), nullptr);
}

TEST(TextOrEmptyTest, TakesANullForAnEmptyText)
{
    const char *const text = "a";
    EXPECT_EQ(TextOrEmpty(text), text);
    EXPECT_STREQ(TextOrEmpty(nullptr), "");
}

TEST(StrrstrTest, FindsTheLastOccurrence)
{
    const char *const text = "a/b/c";
    EXPECT_EQ(std_strrstr(text, "/"), text + 3);
    EXPECT_EQ(std_strrstr(text, "a"), text);
    EXPECT_EQ(std_strrstr(text, "a/b/c"), text);
    EXPECT_EQ(std_strrstr(text, "c"), text + 4);
    const char *const overlapping = "aaaa";
    EXPECT_EQ(std_strrstr(overlapping, "aa"), overlapping + 2);
}

TEST(StrrstrTest, FindsAnEmptyTextAtTheEnd)
{
    const char *const text = "abc";
    EXPECT_EQ(std_strrstr(text, ""), text + 3);
    const char *const empty = "";
    EXPECT_EQ(std_strrstr(empty, ""), empty);
}

TEST(StrrstrTest, GivesNullWhereThereIsNothing)
{
    EXPECT_EQ(std_strrstr("abc", "abcd"), nullptr);
    EXPECT_EQ(std_strrstr("abc", "B"), nullptr);
    EXPECT_EQ(std_strrstr("", "a"), nullptr);
    EXPECT_EQ(std_strrstr(nullptr, "a"), nullptr);
    EXPECT_EQ(std_strrstr("a", nullptr), nullptr);
}

TEST(FormatTest, GivesTheLengthOfATextThatFits)
{
    char buffer[8];
    EXPECT_EQ(std_snprintf(buffer, sizeof buffer, "%d/%s", 12, "abcd"), 7u);
    EXPECT_STREQ(buffer, "12/abcd");
    EXPECT_EQ(std_sprintf(buffer, "%s", "abc"), 3);
    EXPECT_STREQ(buffer, "abc");
}

TEST(FormatTest, CutsATextThatDoesNotFitAndSaysSo)
{
    char buffer[4];
    EXPECT_EQ(std_snprintf(buffer, sizeof buffer, "%s", "abcdef"), CutText);
    EXPECT_STREQ(buffer, "abc");
}

TEST(FormatTest, CutsATextOfExactlyTheBufferSize)
{
    char buffer[4];
    EXPECT_EQ(std_snprintf(buffer, sizeof buffer, "%s", "abcd"), CutText);
    EXPECT_STREQ(buffer, "abc");
    EXPECT_EQ(std_snprintf(buffer, sizeof buffer, "%s", "abc"), 3u);
}

TEST(ScanTest, ReadsFieldsByAFormat)
{
    int first = 0;
    char second[8] = {};
    EXPECT_EQ(std_sscanf("12 abc", "%d %7s", &first, second), 2);
    EXPECT_EQ(first, 12);
    EXPECT_STREQ(second, "abc");
    EXPECT_EQ(std_sscanf("x", "%d", &first), 0);
}

TEST(ScanTest, ReadsNumbersInABase)
{
    const char *const text = "-12x";
    char *end = nullptr;
    EXPECT_EQ(std_strtol(text, &end, 10), -12L);
    EXPECT_EQ(end, text + 3);
    EXPECT_EQ(std_strtoul("0x1F", nullptr, 0), 31u);
}

TEST(ErrorTextTest, GivesTheTextOfAKnownNumberInBothForms)
{
    char first[1024];
    char second[1024];
    EXPECT_EQ(std_strerror(ENOENT, first, sizeof first), 0);
    EXPECT_STREQ(first, std::strerror(ENOENT));
    EXPECT_EQ(std_strerror(second, sizeof second, ENOENT), 0);
    EXPECT_STREQ(second, first);
    EXPECT_EQ(std_error_text(ENOENT, second, sizeof second), second);
    EXPECT_STREQ(second, first);
}

TEST(ErrorTextTest, ReportsAnUnknownNumberAndWritesATextAllTheSame)
{
    char buffer[1024] = "untouched";
    EXPECT_EQ(std_strerror(99999, buffer, sizeof buffer), EINVAL);
    EXPECT_STRNE(buffer, "untouched");
    EXPECT_STREQ(std_error_text(99999, buffer, sizeof buffer), "Failed to get error text");
}

TEST(ErrorTextTest, ReportsATextThatWasCut)
{
    char buffer[5];
    EXPECT_EQ(std_strerror(ENOENT, buffer, sizeof buffer), ERANGE);
    EXPECT_EQ(std::strlen(buffer), 4u);
    EXPECT_STREQ(std_error_text(ENOENT, buffer, sizeof buffer), "Fail");
}

TEST(ErrorTextTest, ReadsTheErrorNumberOfTheThread)
{
    errno = EXDEV;
    EXPECT_EQ(std_errno(), EXDEV);
    errno = 0;
    EXPECT_EQ(std_errno(), 0);
}

TEST(SplitStringTest, CutsAtAnyDelimiterAndKnowsNoEmptyParts)
{
    std::vector<std::string> parts{"old"};
    EXPECT_TRUE(SplitString("//a\\b//c/", "/\\", parts, 1));
    EXPECT_EQ(parts, (std::vector<std::string>{"a", "b", "c"}));
    EXPECT_TRUE(SplitString("a,,b", ",", parts, 0));
    EXPECT_EQ(parts, (std::vector<std::string>{"a", "b"}));
}

TEST(SplitStringTest, EmptiesTheVectorAndIsFalseWhenNothingIsLeft)
{
    std::vector<std::string> parts{"old"};
    EXPECT_FALSE(SplitString("", "/", parts, 1));
    EXPECT_TRUE(parts.empty());
    parts = {"old"};
    EXPECT_FALSE(SplitString("///", "/", parts, 0));
    EXPECT_TRUE(parts.empty());
}

TEST(SplitStringTest, TakesATextOutOfItsOwnVector)
{
    std::vector<std::string> parts{"a b"};
    EXPECT_TRUE(SplitString(parts[0], " ", parts, 0));
    EXPECT_EQ(parts, (std::vector<std::string>{"a", "b"}));
}

TEST(SplitStringTest, LeavesTheTextAlone)
{
    const std::string text = "a=b";
    EXPECT_EQ(SplitString(text, "="), (std::vector<std::string>{"a", "b"}));
    EXPECT_EQ(text, "a=b");
    EXPECT_EQ(SplitString("abc", ""), (std::vector<std::string>{"abc"}));
    EXPECT_TRUE(SplitString("", "=").empty());
}

TEST(StrtokTest, KeepsItsPlaceInTheContext)
{
    char text[] = "a b";
    char *context = nullptr;
    EXPECT_STREQ(std_strtok(text, " ", &context), "a");
    EXPECT_STREQ(std_strtok(nullptr, " ", &context), "b");
    EXPECT_EQ(std_strtok(nullptr, " ", &context), nullptr);
}
} // namespace Keld::Test
