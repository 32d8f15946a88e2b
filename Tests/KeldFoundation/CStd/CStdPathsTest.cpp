#include "KeldFoundation/CStd/CStd.h"

#include <gtest/gtest.h>

#include <csignal>
#include <string>

namespace Keld::Test
{
TEST(SlashesTest, TurnsBackslashesIntoSlashes)
{
    char buffer[16];
    std_path_to_slashes(buffer, "a\\b/c\\\\d");
    EXPECT_STREQ(buffer, "a/b/c//d");
    std_path_to_slashes(buffer, "");
    EXPECT_STREQ(buffer, "");
}

namespace
{
struct Parts
{
    char drive[8] = "drive";
    char dir[32] = "dir";
    char fname[32] = "fname";
    char ext[32] = "ext";

    bool Split(const char *path)
    {
        return std_splitpath(path, drive, sizeof drive, dir, sizeof dir, fname, sizeof fname, ext, sizeof ext);
    }
    std::string Text() const { return std::string(drive) + "|" + dir + "|" + fname + "|" + ext; }
};
} // namespace

TEST(SplitPathTest, SplitsDirectoryNameAndExtension)
{
    const struct
    {
        const char *path;
        const char *parts;
    } rows[] = {{"a/b/c.txt", "|a/b|c|.txt"},
                {"c.txt", "|.|c|.txt"},
                {"/c", "|/|c|"},
                {"\\c", "|\\|c|"},
                {"/c.txt", "|/|c|.txt"},
                {"a/", "|a||"},
                {".rc", "|.||.rc"},
                {"a.b/c", "|a.b|c|"},
                {"a.b\\c.d.e", "|a.b|c.d|.e"},
                {"a\\b/c", "|a\\b|c|"},
                {"c.", "|.|c|."},
                {"/", "|/||"},
                {"//c", "|/|c|"},
                {"c:/d.e", "|c:|d|.e"}};
    for (const auto &row : rows)
    {
        Parts parts;
        EXPECT_TRUE(parts.Split(row.path)) << row.path;
        EXPECT_EQ(parts.Text(), row.parts) << row.path;
    }
}

TEST(SplitPathTest, IsFalseWithEmptyPartsForNoPath)
{
    for (const char *const path : {"", static_cast<const char *>(nullptr)})
    {
        Parts parts;
        EXPECT_FALSE(parts.Split(path));
        EXPECT_EQ(parts.Text(), "|||");
    }
}

TEST(SplitPathTest, SkipsNullOutputs)
{
    EXPECT_TRUE(std_splitpath("a/b.c", nullptr, 0, nullptr, 0, nullptr, 0, nullptr, 0));
    char name[2];
    EXPECT_TRUE(std_splitpath("a/b.c", nullptr, 0, nullptr, 0, name, sizeof name, nullptr, 0));
    EXPECT_STREQ(name, "b");
}

TEST(SplitPathTest, StopsOnAPartThatDoesNotFit)
{
    char small[3];
    EXPECT_EXIT(std_splitpath("abc/d", nullptr, 0, small, sizeof small, nullptr, 0, nullptr, 0),
                testing::KilledBySignal(SIGILL), "");
    EXPECT_EXIT(std_splitpath("abc", nullptr, 0, nullptr, 0, small, sizeof small, nullptr, 0),
                testing::KilledBySignal(SIGILL), "");
    EXPECT_EXIT(std_splitpath("a.bc", nullptr, 0, nullptr, 0, nullptr, 0, small, sizeof small),
                testing::KilledBySignal(SIGILL), "");
}
} // namespace Keld::Test
