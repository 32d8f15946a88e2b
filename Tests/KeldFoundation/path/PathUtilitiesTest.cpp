#include "KeldFoundation/path/PathUtilities.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Keld::Test
{
namespace
{
std::string Split(const char *path, std::string extension = {})
{
    std::string directory;
    std::string name;
    SplitPath(path, directory, name, extension);
    return directory + "|" + name + "|" + extension;
}

std::string Resolve(const char *path, const char *base)
{
    std::string result = "old";
    ResolveRelativePath(path, base, result);
    return result;
}
} // namespace

TEST(NormalizeSeparatorsLowerTest, FoldsAsciiAndSettlesSeparators)
{
    std::string path = "Data\\\\Maps//\xC3\x84[Z]\\";
    NormalizeSeparatorsLower(path);
    EXPECT_EQ(path, "data/maps/\xC3\x84[z]/");
}

TEST(SplitPathTest, SplitsBehindTheLastSeparatorOfAnyKind)
{
    EXPECT_EQ(Split("a/b.c"), "a/|b|c");
    EXPECT_EQ(Split("a\\b.c"), "a\\|b|c");
    EXPECT_EQ(Split("a/b\\c.d"), "a/b\\|c|d");
    EXPECT_EQ(Split("a\\b/c.d"), "a\\b/|c|d");
    EXPECT_EQ(Split("C:a/b"), "C:a/|b|");
    EXPECT_EQ(Split("/"), "/||");
}

TEST(SplitPathTest, AppendsASlashBehindADriveLetter)
{
    EXPECT_EQ(Split("C:x"), "C:/|x|");
    EXPECT_EQ(Split("C:"), "C:/||");
    EXPECT_EQ(Split("a/b:c.d"), "a/b:/|c|d");
}

TEST(SplitPathTest, CutsTheNameAtItsLastDot)
{
    EXPECT_EQ(Split("a.b.c"), "|a.b|c");
    EXPECT_EQ(Split("a.b/c"), "a.b/|c|");
    EXPECT_EQ(Split(".rc"), "||rc");
    EXPECT_EQ(Split("a."), "|a|");
    EXPECT_EQ(Split(""), "||");
}

TEST(SplitPathTest, LeavesTheExtensionAsItWasWhereThereIsNoDot)
{
    EXPECT_EQ(Split("a/b", "old"), "a/|b|old");
    EXPECT_EQ(Split("a/b.", "old"), "a/|b|");
}

TEST(SplitPathTest, TakesANullPathForAnEmptyOne)
{
    EXPECT_EQ(Split(nullptr, "old"), "||old");
}

TEST(ResolveRelativePathTest, StepsUpFromTheBase)
{
    EXPECT_EQ(Resolve("../b.txt", "a/c/"), "a/b.txt");
    EXPECT_EQ(Resolve("../b.txt", "a/c"), "a/b.txt");
    EXPECT_EQ(Resolve("../../x/b.txt", "a/b/c"), "a/x/b.txt");
    EXPECT_EQ(Resolve("./../b.txt", "a/c"), "a/b.txt");
    EXPECT_EQ(Resolve("..\\b.txt", "a\\c"), "a/b.txt");
}

TEST(ResolveRelativePathTest, StopsAtTheFirstComponentThatIsNoDots)
{
    EXPECT_EQ(Resolve("x/b.txt", "a"), "a/x/b.txt");
    EXPECT_EQ(Resolve("x/../b.txt", "a"), "a/x/../b.txt");
    EXPECT_EQ(Resolve(".../b.txt", "a"), "a/.../b.txt");
    EXPECT_EQ(Resolve("./x/./b.txt", "a"), "a/x/./b.txt");
}

TEST(ResolveRelativePathTest, LeavesTheOnlyComponentOfTheBase)
{
    EXPECT_EQ(Resolve("../b.txt", "a"), "a/b.txt");
    EXPECT_EQ(Resolve("../../../b.txt", "a/c"), "a/b.txt");
    EXPECT_EQ(Resolve("../b.txt", "/"), "/b.txt");
    EXPECT_EQ(Resolve("../b.txt", "/a"), "/b.txt");
}

TEST(ResolveRelativePathTest, TakesAnEmptyBase)
{
    EXPECT_EQ(Resolve("b.txt", ""), "b.txt");
    EXPECT_EQ(Resolve("x//b.txt", ""), "x/b.txt");
    EXPECT_EQ(Resolve("../b.txt", ""), "b.txt");
    EXPECT_EQ(Resolve("x/b.txt", nullptr), "x/b.txt");
}

TEST(ResolveRelativePathTest, TakesAPathWithADriveLetterAsItIs)
{
    EXPECT_EQ(Resolve("C:\\x\\\\b", "a"), "C:/x/b");
    EXPECT_EQ(Resolve("C:b.txt", "a"), "C:b.txt");
}

TEST(ResolveRelativePathTest, AppendsARootedDirectoryToTheBase)
{
    EXPECT_EQ(Resolve("/x/b.txt", "a"), "a//x/b.txt");
}

TEST(ResolveRelativePathTest, EndsANameWithoutExtensionInADot)
{
    EXPECT_EQ(Resolve("b", "a"), "a/b.");
    EXPECT_EQ(Resolve("x/b", "a"), "a/x/b.");
}

TEST(ResolveRelativePathTest, LosesANameThatIsAllExtension)
{
    EXPECT_EQ(Resolve("x/.hidden", "a"), "a/x/");
    EXPECT_EQ(Resolve("x/", "a"), "a/x/");
    EXPECT_EQ(Resolve("", "a"), "a/");
    EXPECT_EQ(Resolve(nullptr, "a"), "a/");
}

TEST(SplitPathComponentsTest, CutsAtSeparatorsOfBothKinds)
{
    std::vector<std::string> components{"old"};
    EXPECT_TRUE(SplitPathComponents("/a\\b//c.d/", components));
    EXPECT_EQ(components, (std::vector<std::string>{"a", "b", "c.d"}));
    EXPECT_FALSE(SplitPathComponents("//", components));
    EXPECT_TRUE(components.empty());
    EXPECT_FALSE(SplitPathComponents(nullptr, components));
}
} // namespace Keld::Test
