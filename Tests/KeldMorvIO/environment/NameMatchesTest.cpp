#include "KeldMorvIO/environment/NameMatches.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::MORV::Reader
{
namespace
{
TEST(NameMatches, AnswersForNamesOfEveryLength)
{
    for (const std::size_t length : {1u, 10u, 1022u, 1023u, 1024u, 5000u})
    {
        const std::string name = std::string(length, 'n') + "x";
        const std::string other = std::string(length, 'n') + "y";
        NameMatches matches;
        for (int round = 0; round < 2; ++round)
        {
            EXPECT_TRUE(matches.Matches(name.c_str(), "*X")) << length;
            EXPECT_FALSE(matches.Matches(other.c_str(), "*X")) << length;
        }
    }
}

TEST(NameMatches, LooksThroughALongNameOnce)
{
    std::string name(5000, 'n');
    NameMatches matches;
    EXPECT_FALSE(matches.Matches(name.c_str(), "*x"));
    name.back() = 'x'; // which no name of a listing does
    EXPECT_FALSE(matches.Matches(name.c_str(), "*x"));
    EXPECT_TRUE(NameMatches().Matches(name.c_str(), "*x"));
}
} // namespace
} // namespace Keld::MORV::Reader
