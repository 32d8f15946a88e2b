#include "KeldFoundation/CStd/CStd.h"

#include <gtest/gtest.h>

#include <ostream>
#include <string>

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

TEST(WildcardLengthTest, TakesPatternsAndNamesOfAnyLength)
{
    const std::string run(1 << 20, 'a');
    EXPECT_TRUE(std_wildcard_match(("x" + run).c_str(), ("*x" + run).c_str()));
    EXPECT_TRUE(std_wildcard_match(run.c_str(), (run + "*").c_str()));
    EXPECT_FALSE(std_wildcard_match(run.c_str(), (run + "b").c_str()));
}
} // namespace Keld::Test
