#include "Tools/Common/Glob.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using Common::Glob;
using Common::GlobError;

struct Case
{
    const char *pattern;
    const char *path;
    bool matches;
};

void ExpectAll(std::initializer_list<Case> cases)
{
    for (const Case &one : cases)
    {
        EXPECT_EQ(Glob(one.pattern).Matches(one.path), one.matches) << one.pattern << " on " << one.path;
    }
}

TEST(GlobTest, APatternWithoutASeparatorIsHeldAgainstTheLastName)
{
    ExpectAll({{"*.txt", "a.txt", true},
               {"*.txt", "d/e/a.txt", true},
               {"*.txt", "a.txt/b", false},
               {"readme", "docs/readme", true},
               {"?.c", "src/a.c", true},
               {"?.c", "src/ab.c", false}});
}

TEST(GlobTest, APatternWithASeparatorIsHeldAgainstTheWholePath)
{
    ExpectAll({{"docs/*.txt", "docs/a.txt", true},
               {"docs/*.txt", "more/docs/a.txt", false},
               {"/readme", "readme", true},
               {"/readme", "docs/readme", false}});
}

TEST(GlobTest, AStarStaysWithinOneName)
{
    ExpectAll({{"config/*", "config/a", true},
               {"config/*", "config/d/a", false},
               {"*/a", "d/a", true},
               {"*/a", "d/e/a", false},
               {"a*c", "abbc", true},
               {"a*c", "ac", true},
               {"d?a/x", "d/a/x", false}});
}

TEST(GlobTest, TwoStarsCrossNames)
{
    ExpectAll({{"config/**", "config/a", true},
               {"config/**", "config/d/e/a", true},
               {"config/**", "config", false},
               {"**/a", "a", true},
               {"**/a", "d/e/a", true},
               {"**/a", "d/ba", false},
               {"d/**/a", "d/a", true},
               {"d/**/a", "d/e/f/a", true},
               {"d/**/a", "da", false},
               {"d**/x", "d/e/x", true},
               {"**", "any/thing", true}});
}

TEST(GlobTest, ASetIsOneCharacterOfAName)
{
    ExpectAll({{"[abc].c", "b.c", true},
               {"[a-c].c", "d.c", false},
               {"[!a-c].c", "d.c", true},
               {"[^a-c].c", "a.c", false},
               {"[]].c", "].c", true},
               {"[a\\]].c", "].c", true},
               {"[a-].c", "-.c", true},
               {"x[!a]y/z", "x/y/z", false}});
}

TEST(GlobTest, BracesStandForEither)
{
    ExpectAll({{"*.{png,jpg}", "d/a.jpg", true},
               {"*.{png,jpg}", "d/a.gif", false},
               {"{a,b{c,d}}/x", "bd/x", true},
               {"a{,b}", "a", true},
               {"a{,b}", "ab", true},
               {"{docs/**,*.md}", "a.md", true},
               {"{[,}],x}", "}", true}});
}

TEST(GlobTest, ABackslashTakesTheMeaningAway)
{
    ExpectAll({{"\\*", "*", true}, {"\\*", "a", false}, {"a\\{b,c\\}", "a{b,c}", true}, {"\\[a]", "[a]", true}});
}

TEST(GlobTest, CaseOfAsciiLettersDoesNotCount)
{
    ExpectAll({{"*.TXT", "a.txt", true}, {"[A-Z]", "q", true}, {"[a-z]", "Q", true}, {"\u00c4", "\u00e4", false}});
}

TEST(GlobTest, ACharacterIsOneOfUtf8OrAByteThatIsNone)
{
    ExpectAll({{"?", "\u00e4", true},
               {"[\u00e0-\u00ff]", "\u00e4", true},
               {"?", "\xff", true},
               {"\xff", "\xff", true},
               {"?", "\xff\xfe", false},
               {"\u20ac?", "\u20ac\U0001F600", true}});
}

TEST(GlobTest, ASeparatorAtTheEndAsksForDirectories)
{
    EXPECT_TRUE(Glob("cache/").IsForDirectories());
    EXPECT_TRUE(Glob("cache/").Matches("deep/cache"));
    EXPECT_FALSE(Glob("cache").IsForDirectories());
}

TEST(GlobTest, APatternThatCannotBeMeantIsRefusedWithTheReason)
{
    const std::pair<const char *, const char *> cases[] = {
        {"", "is empty"},         {"/", "is empty"},           {"a[b", "[ without"},   {"a{b", "{ without"},
        {"a\\", "hides nothing"}, {"[z-a]", "runs backwards"}, {"{[a,b}", "[ without"}};
    for (const auto &[pattern, reason] : cases)
    {
        try
        {
            const Glob glob(pattern);
            ADD_FAILURE() << glob.GetPattern();
        }
        catch (const GlobError &error)
        {
            EXPECT_NE(std::string(error.what()).find(reason), std::string::npos) << error.what();
        }
    }
}

TEST(GlobTest, APatternThatExplodesIsRefused)
{
    std::string pattern;
    for (int count = 0; count < 20; ++count)
    {
        pattern += "{a,b}";
    }
    EXPECT_THROW(Glob{pattern}, GlobError);
}

TEST(GlobTest, ManyStarsOnALongPathTakeNoExponentialTime)
{
    std::string pattern;
    for (int count = 0; count < 100; ++count)
    {
        pattern += "a*";
    }
    EXPECT_FALSE(Glob(pattern + "b").Matches(std::string(1000, 'a')));
}
} // namespace
} // namespace Keld::Test
