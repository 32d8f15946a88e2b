#include "KeldMorvIO/environment/NameComparisons.h"

#include "KeldFoundation/CStd/CStd.h"

#include <gtest/gtest.h>

#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
int SignOfOrder(int order)
{
    return order < 0 ? -1 : static_cast<int>(order > 0);
}

TEST(NameComparisonsTest, PutsNamesOfAnyLengthInTheOrderOfTheirLetters)
{
    std::vector<std::string> names;
    for (const std::size_t length : {0u, 1u, 1022u, 1023u, 1024u, 1025u, 5000u})
    {
        for (const char *const end : {"", "a", "B", "b", "Z"})
        {
            names.push_back(std::string(length, 'n') + end);
            names.push_back(std::string(length, 'N') + end);
        }
    }
    NameComparisons comparisons;
    for (int round = 0; round < 2; ++round) // the answers that are remembered are the same
    {
        for (const std::string &name : names)
        {
            for (const std::string &other : names)
            {
                ASSERT_EQ(SignOfOrder(std_stricmp(name.c_str(), other.c_str())),
                          SignOfOrder(comparisons.Compare(name.c_str(), other.c_str())))
                    << name.size() << " and " << other.size();
            }
        }
    }
}

TEST(NameComparisonsTest, ReadsLongNamesOnce)
{
    std::string name(4000, 'n');
    std::string other = name;
    NameComparisons comparisons;
    EXPECT_EQ(0, comparisons.Compare(name.c_str(), other.c_str()));
    other.back() = 'z'; // which no caller may do: it shows that nobody looks
    EXPECT_EQ(0, comparisons.Compare(name.c_str(), other.c_str()));
    EXPECT_GT(0, comparisons.Compare(name.c_str() + 1, other.c_str() + 1));
}
} // namespace
} // namespace Keld::MORV::Reader
