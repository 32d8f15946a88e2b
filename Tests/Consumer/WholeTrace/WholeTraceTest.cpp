#include "Consumer/WholeTrace/Scenario.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <sstream>

namespace Keld::Test::WholeTrace
{
void PrintTo(const Scenario &scenario, std::ostream *stream)
{
    *stream << scenario.name;
}

namespace
{
std::string KeptTrace(const std::string &name)
{
    std::ifstream stream(std::filesystem::path(KELD_GOLDEN_TRACES) / (name + ".txt"), std::ios::binary);
    return std::string(std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>());
}

std::vector<std::string> LinesOf(const std::string &text)
{
    std::istringstream stream(text);
    std::vector<std::string> lines;
    for (std::string line; std::getline(stream, line);)
    {
        lines.push_back(line);
    }
    return lines;
}

// The first place where they part, with the lines before it.
std::string Difference(const std::string &actual, const std::string &expected)
{
    const std::vector<std::string> actualLines = LinesOf(actual);
    const std::vector<std::string> expectedLines = LinesOf(expected);
    const auto [ours, kept] =
        std::mismatch(actualLines.begin(), actualLines.end(), expectedLines.begin(), expectedLines.end());
    const auto line = ours - actualLines.begin();
    std::ostringstream text;
    text << "line " << line + 1 << ", behind\n";
    for (auto before = line > 5 ? ours - 5 : actualLines.begin(); before != ours; ++before)
    {
        text << "    " << *before << '\n';
    }
    text << "now:  " << (ours == actualLines.end() ? "the end" : *ours) << '\n';
    text << "kept: " << (kept == expectedLines.end() ? "the end" : *kept);
    return text.str();
}

class WholeTraceTest : public testing::TestWithParam<Scenario>
{
};

TEST_P(WholeTraceTest, IsTheOneThatIsKept)
{
    const std::string expected = KeptTrace(GetParam().name);
    ASSERT_FALSE(expected.empty()) << "no trace is kept for " << GetParam().name;
    const std::string actual = RunScenario(GetParam());
    EXPECT_TRUE(actual == expected) << Difference(actual, expected);
}

std::string TestName(const testing::TestParamInfo<Scenario> &info)
{
    std::string name = info.param.name;
    std::replace(name.begin(), name.end(), '-', '_');
    return name;
}

INSTANTIATE_TEST_SUITE_P(Kept, WholeTraceTest, testing::ValuesIn(KeptScenarios()), TestName);

TEST(WholeTraceTest, OfARandomTreeIsTheSameAgain)
{
    EXPECT_EQ(RunScenario(RandomScenario(7)), RunScenario(RandomScenario(7)));
}
} // namespace
} // namespace Keld::Test::WholeTrace
