#include "KeldFoundation/CStd/Further/Strings.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <stdexcept>
#include <string>

namespace Keld::Test
{
namespace
{
__attribute__((format(printf, 1, 2))) int LengthOf(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = std_vscprintf(format, arguments);
    va_end(arguments);
    return length;
}

std::string CutAtCharacter(const char *text, uint_size size)
{
    char buffer[16] = {'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x', 'x'};
    EXPECT_EQ(std_utf8_strncpy(buffer, size, text, static_cast<uint_size>(-1)), buffer);
    return buffer;
}
} // namespace

TEST(StringsTest, ForwardsPlainCalls)
{
    char buffer[8];
    EXPECT_STREQ(std_strcpy(buffer, "ab"), "ab");
    EXPECT_STREQ(std_strcat(buffer, "cd"), "abcd");
    EXPECT_EQ(std_strncmp("abc", "abd", 2), 0);
    EXPECT_LT(std_strncmp("abc", "abd", 3), 0);
}

TEST(StringsTest, AppendsWithinTheBufferAndGivesTheFullLength)
{
    char buffer[6] = "ab";
    EXPECT_EQ(std_strlcat(buffer, sizeof buffer, "cd"), 4u);
    EXPECT_STREQ(buffer, "abcd");
    EXPECT_EQ(std_strlcat(buffer, sizeof buffer, "efg"), 7u);
    EXPECT_STREQ(buffer, "abcde");
    char full[2] = {'a', 'b'};
    EXPECT_EQ(std_strlcat(full, sizeof full, "cd"), 4u);
    EXPECT_EQ(std::string(full, 2), "ab");
}

TEST(StringsTest, FoldsACountedBufferInPlace)
{
    char buffer[] = "Ab\xC4Z[y";
    EXPECT_EQ(std_strlwr(buffer, 4), 0);
    EXPECT_STREQ(buffer, "ab\xC4z[y");
    EXPECT_EQ(std_strupr(buffer, 5), 0);
    EXPECT_STREQ(buffer, "AB\xC4Z[y");
    EXPECT_EQ(std_strlwr(buffer, 0), 1);
    EXPECT_EQ(std_strupr(nullptr, 3), 1);
    EXPECT_STREQ(buffer, "AB\xC4Z[y");
}

TEST(StringsTest, ReplacesOneCharacterByAnother)
{
    char buffer[] = "a.b.c";
    std_strreplace(buffer, '.', '/');
    EXPECT_STREQ(buffer, "a/b/c");
}

TEST(StringsTest, MeasuresATextWithoutWritingIt)
{
    EXPECT_EQ(LengthOf("%s-%d", "abc", 12), 6);
    EXPECT_EQ(LengthOf("%s", ""), 0);
}

TEST(StringsTest, TestsTheEndOfAText)
{
    EXPECT_TRUE(std_ends_with("maps.vka", ".vka"));
    EXPECT_TRUE(std_ends_with("maps.vka", ""));
    EXPECT_TRUE(std_ends_with("a", "a"));
    EXPECT_FALSE(std_ends_with("maps.VKA", ".vka"));
    EXPECT_FALSE(std_ends_with("a", "ba"));
}

TEST(Utf8CopyTest, NeverCutsInsideACharacter)
{
    const char *const text = "a\xC3\xA4\xE2\x82\xAC!"; // one, two, three bytes and one more
    EXPECT_EQ(CutAtCharacter(text, 16), text);
    EXPECT_EQ(CutAtCharacter(text, 8), text);
    EXPECT_EQ(CutAtCharacter(text, 7), "a\xC3\xA4\xE2\x82\xAC");
    EXPECT_EQ(CutAtCharacter(text, 6), "a\xC3\xA4");
    EXPECT_EQ(CutAtCharacter(text, 5), "a\xC3\xA4");
    EXPECT_EQ(CutAtCharacter(text, 4), "a\xC3\xA4");
    EXPECT_EQ(CutAtCharacter(text, 3), "a");
    EXPECT_EQ(CutAtCharacter(text, 2), "a");
    EXPECT_EQ(CutAtCharacter(text, 1), "");
    EXPECT_EQ(CutAtCharacter("\x80\x80\x80", 3), "");
}

TEST(Utf8CopyTest, TakesACountAndABufferOfNoBytes)
{
    char buffer[4] = {'x', 'x', 'x', 'x'};
    EXPECT_STREQ(std_utf8_strncpy(buffer, sizeof buffer, "abcdef", 2), "ab");
    EXPECT_STREQ(std_utf8_strncpy(buffer, sizeof buffer, "abcdef", 5), "abc");
    EXPECT_STREQ(std_utf8_strncpy(buffer, sizeof buffer, "ab", 4), "ab");
    buffer[0] = 'y';
    std_utf8_strncpy(buffer, 0, "abc", 3);
    EXPECT_EQ(buffer[0], 'y');
}

TEST(TextBetweenTest, GivesWhatStandsBetween)
{
    EXPECT_EQ(TextBetween("a(b(c)d)e", '(', ')'), "b(c)d");
    EXPECT_EQ(TextBetween("\"x\"", '"', '"'), "x");
    EXPECT_EQ(TextBetween("()", '(', ')'), "");
}

TEST(TextBetweenTest, ThrowsWhereThereIsNoSuchText)
{
    for (const char *const text : {"", "abc", "a(b", "a)b", ")("})
    {
        try
        {
            TextBetween(text, '(', ')');
            ADD_FAILURE() << text;
        }
        catch (const std::out_of_range &error)
        {
            EXPECT_STREQ(error.what(), "basic_string::substr") << text;
        }
    }
}

TEST(StringsTest, RemovesFromAnyOfASetToTheEnd)
{
    std::string text = "name=value#note";
    RemoveFromAny(text, "#");
    EXPECT_EQ(text, "name=value");
    RemoveFromAny(text, "#=");
    EXPECT_EQ(text, "name");
    RemoveFromAny(text, "");
    EXPECT_EQ(text, "name");
}

TEST(StringsTest, TrimsBlanksAlone)
{
    for (const auto &[text, trimmed] : {std::pair<std::string, std::string>{"  a b  ", "a b"},
                                        {"a", "a"},
                                        {"   ", ""},
                                        {"", ""},
                                        {"\ta \n ", "\ta \n"}})
    {
        std::string copy = text;
        TrimBlanks(copy);
        EXPECT_EQ(copy, trimmed);
    }
}
} // namespace Keld::Test
