#include "Support/PageBlocks.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <array>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <regex>
#include <string>
#include <vector>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

// What a pattern's first group matches, all over a page.
std::vector<std::string> AllMatches(const std::string &page, const std::string &pattern)
{
    std::ifstream stream(SourceDirectory() / page);
    const std::string text{std::istreambuf_iterator<char>(stream), std::istreambuf_iterator<char>()};
    const std::regex wanted(pattern);
    std::vector<std::string> matches;
    for (std::sregex_iterator match(text.begin(), text.end(), wanted), end; match != end; ++match)
    {
        matches.push_back((*match)[1]);
    }
    return matches;
}

// The pages leave out what stands in front of the reader's and the foundation's folders.
bool IsFileOfTheTree(const std::string &path)
{
    const std::array<const char *, 4> folders = {"", "Game/Core", "Game/Core/KeldMorvIO", "Game/Core/KeldFoundation"};
    return std::any_of(folders.begin(), folders.end(),
                       [&path](const char *folder)
                       {
                           return fs::exists(SourceDirectory() / folder / path);
                       });
}

TEST(DocsTest, EverySourceThatAPageNamesIsThere)
{
    std::size_t count = 0;
    for (const std::string &page : DocumentationPages())
    {
        for (const std::string &path : AllMatches(page, "`([A-Za-z0-9]+/[A-Za-z0-9/]*\\.(?:h|cpp|c|md|map))`"))
        {
            EXPECT_TRUE(IsFileOfTheTree(path)) << page << " names " << path;
            ++count;
        }
    }
    EXPECT_GT(count, 30u);
}

TEST(DocsTest, EveryLinkLeadsToAFile)
{
    std::size_t count = 0;
    for (const std::string &page : DocumentationPages())
    {
        for (const std::string &target : AllMatches(page, "\\]\\(([A-Za-z0-9./]+)\\)"))
        {
            EXPECT_TRUE(fs::exists((SourceDirectory() / page).parent_path() / target))
                << page << " links to " << target;
            ++count;
        }
    }
    EXPECT_GT(count, 5u);
}
} // namespace
} // namespace Keld::Test
