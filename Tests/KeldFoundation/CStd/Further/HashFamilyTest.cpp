#include "KeldFoundation/CStd/Further/HashFamily.h"

#include "KeldFoundation/CStd/Further/HashedName.h"
#include "KeldFoundation/CStd/Hash.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::Test
{
// The published values of FNV-1a.
TEST(HashFamilyTest, MixesInBeforeItMultipliesInFnv1a)
{
    EXPECT_EQ(HashFnv1a(HashPathStart, ""), 0x811C9DC5u);
    EXPECT_EQ(HashFnv1a(HashPathStart, "a"), 0xE40C292Cu);
    EXPECT_EQ(HashFnv1a(HashPathStart, "foobar"), 0xBF9CF968u);
    EXPECT_EQ(HashFnv1a(HashPathStart, "foobar", 6), 0xBF9CF968u);
    EXPECT_EQ(HashFnv1a(HashFnv1a(HashPathStart, "foo"), "bar"), 0xBF9CF968u);
    EXPECT_EQ(HashFnv1a(0, "\x80"), 0x80u * 16777619u);
    EXPECT_EQ(HashFnv1a(1, "\0", 1), 16777619u);
}

TEST(HashFamilyTest, KeepsCaseInFnv1AndSignExtends)
{
    EXPECT_EQ(HashFnv1(HashPathStart, "foobar", 6), 0x31F0B262u);
    EXPECT_NE(HashFnv1(HashPathStart, "FOOBAR", 6), 0x31F0B262u);
    EXPECT_EQ(HashFnv1(0, "\x80", 1), 0xFFFFFF80u);
    EXPECT_EQ(HashFnv1(HashPathStart, "foobar", 0), HashPathStart);
}

TEST(HashFamilyTest, KeepsCaseInTheNameStep)
{
    EXPECT_EQ(HashNameExact(0, "abcdefghi", 9), 0x9ABAA69u);
    EXPECT_EQ(HashNameExact(HashNameExact(0, "abcde", 5), "fghi", 4), 0x9ABAA69u);
    EXPECT_EQ(HashNameExact(0, "A", 1), 0x41u);
    EXPECT_EQ(HashNameExact(0, "\xC3\xA4", 2), 0x0FFFF224u);
}

TEST(HashFamilyTest, MultipliesThenAddsOverOneTextOrTwo)
{
    EXPECT_EQ(HashTextLower(""), 0u);
    EXPECT_EQ(HashTextLower("A"), 0x61u);
    EXPECT_EQ(HashTextLower("aB"), 0x61u * 0x1003Fu + 0x62u);
    EXPECT_EQ(HashTextLower("a", "b"), HashTextLower("ab"));
    EXPECT_EQ(HashTextLower("\x80"), 0xFFFFFF80u);
}

TEST(HashFamilyTest, AddsThenMultipliesInFrontOfASeparator)
{
    EXPECT_EQ(HashTextLowerWithLast("", '/'), 0x2Fu);
    EXPECT_EQ(HashTextLowerWithLast("A", '/'), 0x61u * 0x1003Fu + 0x2Fu);
    EXPECT_EQ(HashTextLowerWithLast("ab", '/'), (0x62u + 0x61u * 0x1003Fu) * 0x1003Fu + 0x2Fu);
    EXPECT_EQ(HashTextLowerSeparated("a", '/', "B"), (0x61u * 0x1003Fu + 0x2Fu) * 0x1003Fu + 0x62u);
    EXPECT_EQ(HashTextLowerSeparated("a", '/', "b"), HashTextLower("a/b"));
}

TEST(HashedNameTest, KeepsANameBesideItsHash)
{
    const HashedName first(std::string("Data/File.bin"));
    HashedName second = first;
    EXPECT_EQ(second.hash, 0x6AE0D5Eu);
    EXPECT_EQ(second.name, "Data/File.bin");
    second = HashedName("ab");
    EXPECT_EQ(second.hash, 0x672u);
    EXPECT_EQ(second.name, "ab");
}
} // namespace Keld::Test
