#include "KeldFoundation/path/Path.h"

#include <gtest/gtest.h>

#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <string>

namespace Keld::Test
{
namespace
{
struct PathRow
{
    const char *source;
    uint8 drop;
    const char *result;
};

constexpr PathRow Rows[] = {
    {"", 1, ""},
    {"", 0, ""},
    {"a", 1, "a"},
    {"a/", 1, "a"},
    {"a/", 0, "a/"},
    {"/", 1, ""},
    {"/", 0, "/"},
    {"\\", 0, "/"},
    {"//", 1, "/"},
    {"//", 0, "//"},
    {"\\/", 0, "//"},
    {"/\\", 0, "//"},
    {"///", 0, "//"},
    {"///", 1, "/"},
    {"\\\\\\", 1, "/"},
    {"////////", 1, "/"},
    {"a\\b//c\\\\d", 1, "a/b/c/d"},
    {"//a//b/", 1, "//a/b"},
    {"///a", 1, "//a"},
    {"a//b", 1, "a/b"},
    {"/a//b", 0, "/a/b"},
    {"a//", 0, "a/"},
    {"a\\\\", 1, "a"},
    {"./A/../b.DDS", 1, "./A/../b.DDS"},
    {"C:\\Data\\\\x", 1, "C:/Data/x"},
    {"a/", 2, "a/"},
    {"a/", 255, "a/"},
    {"\xC3\xA4\\\xFF", 1, "\xC3\xA4/\xFF"},
};

std::string Canonical(const char *source, uint8 drop)
{
    char buffer[64];
    std::memset(buffer, 'x', sizeof buffer);
    const uint32 length = CanonicalizePath(source, buffer, drop);
    EXPECT_EQ(length, std::strlen(buffer));
    return buffer;
}

// The result within `size` bytes, or "refused". Bytes behind the buffer must not change.
std::string Bounded(const std::string &source, uint32 size, uint8 drop)
{
    std::string buffer(size + 8, 'x');
    const bool fits = CanonicalizePathBounded(source.c_str(), buffer.data(), size, drop);
    EXPECT_EQ(buffer.substr(size), "xxxxxxxx");
    if (!fits)
    {
        EXPECT_EQ(buffer[0], '\0');
        return "refused";
    }
    return buffer.c_str();
}

std::string JoinedOrRefused(std::initializer_list<const char *> pieces, uint32 size = 1024)
{
    std::string buffer(size + 8, 'x');
    const bool joined = JoinPath(buffer.data(), size, pieces);
    EXPECT_EQ(buffer.substr(size), "xxxxxxxx");
    EXPECT_LT(std::strlen(buffer.c_str()), size);
    return joined ? buffer.c_str() : "refused";
}
} // namespace

TEST(CanonicalizePathTest, SettlesSeparatorsAndNothingElse)
{
    for (const PathRow &row : Rows)
    {
        EXPECT_EQ(Canonical(row.source, row.drop), row.result) << row.source << ' ' << int{row.drop};
    }
}

TEST(CanonicalizePathTest, GivesTheSameInPlace)
{
    for (const PathRow &row : Rows)
    {
        char buffer[64];
        std::snprintf(buffer, sizeof buffer, "%s", row.source);
        EXPECT_EQ(CanonicalizePath(buffer, buffer, row.drop), std::strlen(row.result)) << row.source;
        EXPECT_STREQ(buffer, row.result) << row.source;
    }
}

TEST(CanonicalizePathTest, WritesNothingForNullPointers)
{
    char buffer[2] = {'x', 'y'};
    EXPECT_EQ(CanonicalizePath(nullptr, buffer, 1), 0u);
    EXPECT_EQ(buffer[0], 'x');
    EXPECT_EQ(CanonicalizePath("abc", nullptr, 1), 0u);
}

TEST(CanonicalizePathBoundedTest, GivesTheSameWhereThereIsRoom)
{
    for (const PathRow &row : Rows)
    {
        EXPECT_EQ(Bounded(row.source, 64, row.drop), row.result) << row.source;
    }
}

TEST(CanonicalizePathBoundedTest, MeasuresTheResultAndNotTheSource)
{
    EXPECT_EQ(Bounded(std::string(2000, '/'), 1024, 1), "/");
    EXPECT_EQ(Bounded("a" + std::string(5000, '\\') + "b", 4, 1), "a/b");
    EXPECT_EQ(Bounded(std::string(1023, 'a'), 1024, 1), std::string(1023, 'a'));
    EXPECT_EQ(Bounded(std::string(1024, 'a'), 1024, 1), "refused");
    EXPECT_EQ(Bounded(std::string(5000, 'a'), 1024, 1), "refused");
}

TEST(CanonicalizePathBoundedTest, DoesNotCountASeparatorThatIsDropped)
{
    const std::string longest(1023, 'a');
    EXPECT_EQ(Bounded(longest + "/", 1024, 1), longest);
    EXPECT_EQ(Bounded(longest + "//\\/", 1024, 1), longest);
    EXPECT_EQ(Bounded(longest + "/", 1024, 0), "refused");
    EXPECT_EQ(Bounded(longest + "/b", 1024, 1), "refused");
    EXPECT_EQ(Bounded(longest + "b/", 1024, 1), "refused");
}

TEST(CanonicalizePathBoundedTest, TakesTheSmallestBuffers)
{
    EXPECT_EQ(Bounded("", 1, 1), "");
    EXPECT_EQ(Bounded("/", 1, 1), "");
    EXPECT_EQ(Bounded("/", 1, 0), "refused");
    EXPECT_EQ(Bounded("a", 1, 1), "refused");
    char byte = 'x';
    EXPECT_FALSE(CanonicalizePathBounded("", &byte, 0, 1));
    EXPECT_EQ(byte, 'x');
}

TEST(CanonicalizePathBoundedTest, RefusesNullPointers)
{
    char buffer[4] = "abc";
    EXPECT_FALSE(CanonicalizePathBounded(nullptr, buffer, sizeof buffer, 1));
    EXPECT_STREQ(buffer, "");
    EXPECT_FALSE(CanonicalizePathBounded("a", nullptr, 4, 1));
}

TEST(NormalizeSeparatorsTest, WorksInPlaceAndKeepsATrailingSeparator)
{
    for (const PathRow &row : Rows)
    {
        if (row.drop != 1)
        {
            std::string path = row.source;
            NormalizeSeparators(path);
            EXPECT_EQ(path, row.result) << row.source;
        }
    }
    std::string path = "a\\\\b\\";
    NormalizeSeparators(path);
    EXPECT_EQ(path, "a/b/");
}

TEST(NormalizeSeparatorsTest, EndsTheTextAtAnEmbeddedNul)
{
    std::string path("a//b\0c", 6);
    NormalizeSeparators(path);
    EXPECT_EQ(path, "a/b");
}

TEST(JoinPathTest, PutsOneSeparatorBetweenPieces)
{
    EXPECT_EQ(JoinedOrRefused({"a", "b", "c.txt"}), "a/b/c.txt");
    EXPECT_EQ(JoinedOrRefused({"a/", "b"}), "a/b");
    EXPECT_EQ(JoinedOrRefused({"/", "b"}), "/b");
    EXPECT_EQ(JoinedOrRefused({"/a", "b/c"}), "/a/b/c");
    EXPECT_EQ(JoinedOrRefused({"a", "b/"}), "a/b/");
}

TEST(JoinPathTest, SkipsNullAndEmptyPieces)
{
    EXPECT_EQ(JoinedOrRefused({nullptr, "b"}), "b");
    EXPECT_EQ(JoinedOrRefused({"", "b"}), "b");
    EXPECT_EQ(JoinedOrRefused({"a", "", nullptr, "b", ""}), "a/b");
    EXPECT_EQ(JoinedOrRefused({nullptr, ""}), "");
}

TEST(JoinPathTest, BeginsAnewAtAnAbsolutePiece)
{
    EXPECT_EQ(JoinedOrRefused({"a", "b", "/c", "d"}), "/c/d");
    EXPECT_EQ(JoinedOrRefused({"a/b/c", "/"}), "/");
    EXPECT_EQ(JoinedOrRefused({"abcdefg", "/c"}, 8), "/c");
}

TEST(JoinPathTest, GivesAnEmptyTextForNoPieces)
{
    EXPECT_EQ(JoinedOrRefused(std::initializer_list<const char *>{}), "");
    char buffer[4] = "abc";
    EXPECT_TRUE(JoinPath(buffer, sizeof buffer, uint32{0}));
    EXPECT_STREQ(buffer, "");
}

TEST(JoinPathTest, RefusesABufferOfNothing)
{
    char byte = 'x';
    EXPECT_FALSE(JoinPath(nullptr, 1024, {"a"}));
    EXPECT_FALSE(JoinPath(&byte, 0, {"a"}));
    EXPECT_FALSE(JoinPath(nullptr, 1024, 1u, "a"));
    EXPECT_FALSE(JoinPath(&byte, 0, 1u, "a"));
    EXPECT_EQ(byte, 'x');
}

TEST(JoinPathTest, FillsTheBufferToItsLastByte)
{
    const std::string piece(1021, 'a');
    EXPECT_EQ(JoinedOrRefused({piece.c_str(), "b"}), piece + "/b");
    EXPECT_EQ(JoinedOrRefused({piece.c_str(), "bc"}), "refused");
    EXPECT_EQ(JoinedOrRefused({(piece + "bc").c_str()}), piece + "bc");
    EXPECT_EQ(JoinedOrRefused({(piece + "bcd").c_str()}), "refused");
}

TEST(JoinPathTest, LeavesWhatItWroteOfARefusedPath)
{
    char buffer[8];
    EXPECT_FALSE(JoinPath(buffer, sizeof buffer, {"abc", "defg"}));
    EXPECT_STREQ(buffer, "abc/");
    EXPECT_FALSE(JoinPath(buffer, sizeof buffer, {"abcdefg", "h"}));
    EXPECT_STREQ(buffer, "abcdefg");
    EXPECT_FALSE(JoinPath(buffer, sizeof buffer, {"abcdef", "h"}));
    EXPECT_STREQ(buffer, "abcdef/");
    EXPECT_FALSE(JoinPath(buffer, sizeof buffer, {"abc", "/12345678"}));
    EXPECT_STREQ(buffer, "abc");
}

namespace
{
bool JoinThroughAList(char *buffer, uint32 size, uint32 count, ...)
{
    va_list pieces;
    va_start(pieces, count);
    const bool joined = JoinPathV(buffer, size, count, pieces);
    va_end(pieces);
    return joined;
}
} // namespace

TEST(JoinPathTest, TakesItsPiecesInThreeForms)
{
    char buffer[64];
    const char *const null = nullptr;
    EXPECT_TRUE(JoinPath(buffer, sizeof buffer, 4u, "a", null, "b/", "c"));
    EXPECT_STREQ(buffer, "a/b/c");
    EXPECT_TRUE(JoinThroughAList(buffer, sizeof buffer, 3, "a", "", "c"));
    EXPECT_STREQ(buffer, "a/c");
    EXPECT_FALSE(JoinPath(buffer, 4, 2u, "ab", "cd"));
    EXPECT_FALSE(JoinThroughAList(buffer, 4, 2, "ab", "cd"));
}
} // namespace Keld::Test
