#include "KeldFoundation/CStd/Hash.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::Test
{
TEST(HashPathLowerTest, BeginsWithTheOffsetBasis)
{
    EXPECT_EQ(HashPathLower(""), 0x811C9DC5u);
    EXPECT_EQ(HashPathStart, 0x811C9DC5u);
}

// The published values of FNV-1; the variant that mixes in before it multiplies gives others.
TEST(HashPathLowerTest, MultipliesBeforeItMixesIn)
{
    EXPECT_EQ(HashPathLower("a"), 0x050C5D7Eu);
    EXPECT_EQ(HashPathLower("foobar"), 0x31F0B262u);
}

TEST(HashPathLowerTest, IgnoresAsciiCaseAlone)
{
    EXPECT_EQ(HashPathLower("FooBAR"), HashPathLower("foobar"));
    EXPECT_EQ(HashPathLower("DATA/A.DDS"), HashPathLower("data/a.dds"));
    EXPECT_NE(HashPathLower("\xC4"), HashPathLower("\xE4"));
    EXPECT_NE(HashPathLower("["), HashPathLower("{"));
    EXPECT_NE(HashPathLower("@"), HashPathLower("`"));
}

TEST(HashPathLowerTest, SignExtendsBytesBeyondAscii)
{
    EXPECT_EQ(HashPathLower("\x80"), 0x050C5D1Fu ^ 0xFFFFFF80u);
    EXPECT_EQ(HashPathLower("\xFF"), 0x050C5D1Fu ^ 0xFFFFFFFFu);
    EXPECT_EQ(HashPathLower("\x7F"), 0x050C5D1Fu ^ 0x0000007Fu);
}

TEST(HashPathLowerTest, IsTheSameInStepsPiecesAndAtOnce)
{
    const std::string text = "Data/\xC3\xA4/Maps.VKA";
    uint32 hash = HashPathStart;
    for (const char character : text)
    {
        hash = HashPathLowerStep(hash, character);
    }
    EXPECT_EQ(hash, HashPathLower(text.c_str()));
    EXPECT_EQ(HashPathLower(HashPathLowerStep(HashPathLower("data"), '/'), "\xC3\xA4/maps.vka"), hash);
}

TEST(HashNameTest, GivesTheKnownValues)
{
    EXPECT_EQ(HashName(""), 0u);
    EXPECT_EQ(HashName("a"), 0x61u);
    EXPECT_EQ(HashName("A"), 0x61u);
    EXPECT_EQ(HashName("ab"), 0x672u);
    EXPECT_EQ(HashName("data/file.bin"), 0x6AE0D5Eu);
    EXPECT_EQ(HashName("DATA/FILE.BIN"), 0x6AE0D5Eu);
    EXPECT_EQ(HashName("abcdefgh"), 0x89ABAA8u);
    EXPECT_EQ(HashName("abcdefghi"), 0x9ABAA69u);
}

TEST(HashNameTest, SignExtendsBytesBeyondAscii)
{
    EXPECT_EQ(HashName("\xC3\xA4"), 0x0FFFF224u);
    EXPECT_EQ(HashName("\xFF"), 0x0FFFFF0Fu);
}

TEST(FoldCaseTest, ChangesTheTwentySixCapitalsAlone)
{
    for (int byte = 0; byte < 256; ++byte)
    {
        const auto character = static_cast<char>(byte);
        const bool capital = byte >= 0x41 && byte <= 0x5A;
        EXPECT_EQ(FoldCase(character), capital ? static_cast<char>(byte + 0x20) : character) << byte;
    }
}
} // namespace Keld::Test
