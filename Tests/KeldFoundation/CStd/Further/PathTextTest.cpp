#include "KeldFoundation/CStd/Further/PathText.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::Test
{
namespace
{
std::string Joined(const char *first, const char *second, uint_size size = 64)
{
    char buffer[64] = "old";
    const bool fits = std_path_join(buffer, size, first, second);
    return fits ? buffer : std::string("refused") + buffer;
}

std::string Made(const char *dir, const char *fname, const char *ext, uint_size size = 64)
{
    char buffer[64] = "old";
    const bool fits = std_makepath(buffer, size, dir, fname, ext);
    return fits ? buffer : std::string("refused") + buffer;
}
} // namespace

TEST(PathTextTest, TurnsSlashesIntoBackslashes)
{
    char buffer[16];
    std_path_to_backslashes(buffer, "a/b\\c//d");
    EXPECT_STREQ(buffer, "a\\b\\c\\\\d");
}

TEST(PathTextTest, JoinsTwoPartsWithOneSeparator)
{
    EXPECT_EQ(Joined("a", "b"), "a/b");
    EXPECT_EQ(Joined("a/", "b"), "a/b");
    EXPECT_EQ(Joined("a\\", "b"), "a\\b");
    EXPECT_EQ(Joined("a", "/b"), "a/b");
    EXPECT_EQ(Joined("a/", "/b"), "a/b");
    EXPECT_EQ(Joined("a\\", "/b"), "a\\b");
    EXPECT_EQ(Joined("", "/b"), "/b");
    EXPECT_EQ(Joined("", "b"), "b");
    EXPECT_EQ(Joined("a", ""), "a/");
}

TEST(PathTextTest, AsksForRoomForASeparatorEvenWhereNoneIsNeeded)
{
    EXPECT_EQ(Joined("ab", "c", 5), "ab/c");
    EXPECT_EQ(Joined("ab", "c", 4), "refused");
    EXPECT_EQ(Joined("a/", "c", 4), "refused");
    char byte = 'x';
    EXPECT_FALSE(std_path_join(&byte, 0, "", ""));
    EXPECT_EQ(byte, 'x');
}

TEST(PathTextTest, ComposesAPathOfItsParts)
{
    EXPECT_EQ(Made("a/b", "c", ".txt"), "a/b/c.txt");
    EXPECT_EQ(Made("/", "c", ""), "/c");
    EXPECT_EQ(Made("", "c", ".txt"), "c.txt");
    EXPECT_EQ(Made(nullptr, "c", nullptr), "c");
    EXPECT_EQ(Made(".", nullptr, ".rc"), "./.rc");
    EXPECT_EQ(Made("ab", "c", ".d", 7), "ab/c.d");
    EXPECT_EQ(Made("ab", "c", ".d", 6), "refused");
    char byte = 'x';
    EXPECT_FALSE(std_makepath(&byte, 0, "", "", ""));
}
} // namespace Keld::Test
