#include "KeldFoundation/CStd/CStd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <ostream>
#include <random>
#include <string>
#include <string_view>

namespace Keld::Test
{
namespace
{
struct Case
{
    const char *name;
    const char *pattern;
    bool matches;
};

std::ostream &operator<<(std::ostream &stream, const Case &row)
{
    return stream << '"' << row.name << "\" against \"" << row.pattern << '"';
}

class WildcardTest : public testing::TestWithParam<Case>
{
};
} // namespace

TEST_P(WildcardTest, MatchesByItsOwnRules)
{
    EXPECT_EQ(std_wildcard_match(GetParam().name, GetParam().pattern), GetParam().matches);
}

INSTANTIATE_TEST_SUITE_P(WorkedResults, WildcardTest,
                         testing::Values(Case{"a.dds", "*.dds", true}, Case{"A.DDS", "*.dds", true},
                                         Case{"a.b.dds", "*.dds", false}, Case{"a.b.dds", "*.b.dds", true},
                                         Case{"a", "*.", true}, Case{"a", "*.*", true}, Case{"abc", "ab", false},
                                         Case{"abc", "a*", true}, Case{"abc", "*c", true}, Case{"abcbc", "*bc", false},
                                         Case{"ab", "a??", false}, Case{"abc", "*?c", true}, Case{"a", "a.", false},
                                         Case{"a.txt", "a?txt", true}, Case{"", "*", true}, Case{"", "", true},
                                         Case{"a", "", false}));

// A dot at the pattern's start, or behind a star, a question mark or another such dot, is the dot matcher; everywhere
// else it is a character of a literal run.
INSTANTIATE_TEST_SUITE_P(Dots, WildcardTest,
                         testing::Values(Case{".", ".", true}, Case{"", ".", true}, Case{".", "..", true},
                                         Case{"..", "..", true}, Case{"...", "..", false}, Case{"a", ".", false},
                                         Case{".rc", ".rc", true}, Case{"rc", ".rc", false}, Case{"a.", "a.", true},
                                         Case{"a.b", "a.b", true}, Case{"axb", "a.b", false}, Case{"a.b", "?.b", true},
                                         Case{"a", "?.", true}, Case{"a", "*.b", false}, Case{"a.b.c", "*.*.*", true},
                                         Case{"a.b", "*.*.*", true}, Case{"a.b.c", "*.", false},
                                         Case{"a.dds.dds", "*.dds.dds", true}, Case{"a", "*..", true}));

INSTANTIATE_TEST_SUITE_P(StarsAndQuestionMarks, WildcardTest,
                         testing::Values(Case{"abc", "*", true}, Case{"abc", "**", true}, Case{"abc", "*b*", true},
                                         Case{"abc", "a*c", true}, Case{"aXbXc", "a*x*C", true},
                                         Case{"abc", "*d", false}, Case{"abc", "*cd", false}, Case{"abc", "?b?", true},
                                         Case{"", "?", false}, Case{"a", "*?", true}, Case{"abc", "*?", true},
                                         Case{"", "*?", false}, Case{"abc", "?*", true}, Case{"a", "?*?", false},
                                         Case{"abc", "???", true}, Case{"abc", "????", false},
                                         Case{"abcc", "*?c", false}, Case{"a.txt", "????txt", false},
                                         Case{"a.txt", "*.t?t", true}));

INSTANTIATE_TEST_SUITE_P(Literals, WildcardTest,
                         testing::Values(Case{"abc", "ABC", true}, Case{"ABC", "abc", true}, Case{"ab", "abc", false},
                                         Case{"xabc", "abc", false}, Case{"a/b", "a/b", true}, Case{"[a]", "[a]", true},
                                         Case{"a", "[a]", false}, Case{"\xC3\xA4", "\xC3\xA4", true},
                                         Case{"\xC4", "\xE4", false}));

TEST(WildcardNullTest, NullMatchesNothing)
{
    EXPECT_FALSE(std_wildcard_match(nullptr, "*"));
    EXPECT_FALSE(std_wildcard_match("a", nullptr));
    EXPECT_FALSE(std_wildcard_match(nullptr, nullptr));
}

/// The rules, read one after the other, with the plainest search.
bool MatchPlainly(std::string_view name, std::string_view pattern)
{
    const auto beginsWith = [](std::string_view text, std::string_view run)
    {
        return text.size() >= run.size() &&
               std_strnicmp(std::string(text).c_str(), std::string(run).c_str(), run.size()) == 0;
    };
    bool star = false;
    while (!pattern.empty())
    {
        uint_size used = 1;
        if (pattern[0] == '*')
        {
            star = true;
        }
        else if (pattern[0] == '.')
        {
            name.remove_prefix(star ? std::min(name.find('.'), name.size()) : 0);
            if (!name.empty() && name[0] != '.')
            {
                return false;
            }
            name.remove_prefix(name.empty() ? 0 : 1);
            star = false;
        }
        else if (pattern[0] == '?')
        {
            if (name.empty())
            {
                return false;
            }
            name.remove_prefix(1);
        }
        else
        {
            used = std::min(pattern.find_first_of("*?"), pattern.size());
            const std::string_view run = pattern.substr(0, used);
            while (star && !name.empty() && !beginsWith(name, run))
            {
                name.remove_prefix(1);
            }
            if (!beginsWith(name, run))
            {
                return false;
            }
            name.remove_prefix(run.size());
            star = false;
        }
        pattern.remove_prefix(used);
    }
    return star || name.empty();
}

class WildcardSearchTest : public testing::Test
{
protected:
    uint32 Below(uint32 limit) { return static_cast<uint32>(mRandom() % limit); }

    std::string AnyText(uint32 length, const std::string &letters)
    {
        std::string text;
        while (text.size() < length)
        {
            text += letters[Below(static_cast<uint32>(letters.size()))];
        }
        return text;
    }

    /// Pieces of the name and of chance, with a star or a question mark between them.
    std::string AnyPattern(const std::string &name, const std::string &letters)
    {
        std::string pattern;
        const uint32 pieces = Below(5);
        for (uint32 piece = 0; piece < pieces; ++piece)
        {
            pattern += std::string(1, "*?*."[Below(4)]);
            const uint32 length = Below(Below(4) == 0 ? 60 : 6);
            const uint32 place = Below(static_cast<uint32>(name.size()) + 1);
            pattern += Below(3) == 0 ? AnyText(length, letters) : name.substr(place, length);
        }
        return pattern + (Below(2) == 0 ? "*" : "");
    }

    std::mt19937 mRandom{1};
};

TEST_F(WildcardSearchTest, FindsTheFirstPlaceOfARunInNamesOfEveryLength)
{
    uint32 matchCount = 0;
    for (uint32 round = 0; round < 3000; ++round)
    {
        const std::string letters = round % 2 == 0 ? "aAb" : "abAB.";
        const std::string name = AnyText(Below(round % 3 == 0 ? 20 : 600), letters);
        const std::string pattern = AnyPattern(name, letters);
        const bool matches = MatchPlainly(name, pattern);
        matchCount += matches ? 1 : 0;
        ASSERT_EQ(matches, std_wildcard_match(name.c_str(), pattern.c_str())) << name << " against " << pattern;
    }
    EXPECT_GT(matchCount, 300u);
    EXPECT_LT(matchCount, 2700u);
}

TEST_F(WildcardSearchTest, FindsRunsLongerThanAnyPath)
{
    const std::string run = AnyText(1023, "ab") + "c" + AnyText(500, "ab");
    for (const uint_size length : {1022u, 1023u, 1024u, 1025u, 1500u})
    {
        const std::string part = run.substr(0, length);
        EXPECT_TRUE(std_wildcard_match((part.substr(0, length - 1) + "d" + part).c_str(), ("*" + part).c_str()))
            << length;
        EXPECT_TRUE(std_wildcard_match((std::string(300, 'a') + part).c_str(), ("*" + part).c_str())) << length;
        EXPECT_FALSE(std_wildcard_match((part.substr(0, length - 1) + "d").c_str(), ("*" + part).c_str())) << length;
        EXPECT_FALSE(std_wildcard_match(part.substr(1).c_str(), ("*" + part).c_str())) << length;
    }
}

TEST_F(WildcardSearchTest, ANameThatBreaksOffEveryRunIsReadOnce)
{
    // Two million places, at each of which a thousand characters match: a search that began anew would take minutes.
    const std::string name(2'000'000, 'a');
    std::string run(1000, 'a');
    run += 'b';
    EXPECT_FALSE(std_wildcard_match(name.c_str(), ("*" + run).c_str()));
    EXPECT_TRUE(std_wildcard_match((name + "b").c_str(), ("*" + run).c_str()));
}

TEST(WildcardLengthTest, TakesPatternsAndNamesOfAnyLength)
{
    const std::string run(1 << 20, 'a');
    EXPECT_TRUE(std_wildcard_match(("x" + run).c_str(), ("*x" + run).c_str()));
    EXPECT_TRUE(std_wildcard_match(run.c_str(), (run + "*").c_str()));
    EXPECT_FALSE(std_wildcard_match(run.c_str(), (run + "b").c_str()));
}
} // namespace Keld::Test
