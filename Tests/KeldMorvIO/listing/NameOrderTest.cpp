#include "KeldMorvIO/listing/NameOrder.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::MORV::Reader
{
namespace
{
/// Holds the order of two names, each way round, with other names beside them.
void ExpectBefore(const std::string &first, const std::string &second)
{
    const std::string other(1000, 'm');
    const std::vector<const char *> strings{second.c_str(), "m", first.c_str(), other.c_str()};
    const NameOrder order(strings);
    EXPECT_TRUE(order.ComesBefore(2, 0)) << first << " / " << second;
    EXPECT_FALSE(order.ComesBefore(0, 2)) << first << " / " << second;
}

TEST(NameOrder, IsAscendingWithoutRegardToCase)
{
    ExpectBefore("alpha", "Beta");
    ExpectBefore("Alpha", "beta");
    ExpectBefore("", "a");
    ExpectBefore("a", "A.b");
    ExpectBefore("a_b", "aB");
}

TEST(NameOrder, LooksAtAllOfALongName)
{
    for (const std::size_t length : {62u, 63u, 64u, 65u, 127u, 5000u})
    {
        const std::string lower(length, 'x');
        const std::string upper(length, 'X');
        ExpectBefore(lower + "a", upper + "b");
        ExpectBefore(upper + "a", lower + "b");
        ExpectBefore(lower, upper + "a");
        ExpectBefore(upper, lower + "a");
    }
}

TEST(NameOrder, PutsAShortNameBeforeTheLongOnesThatBeginWithIt)
{
    ExpectBefore("x", std::string(100, 'x'));
    ExpectBefore(std::string(63, 'x'), std::string(64, 'X'));
}

TEST(NameOrder, PutsNoNameBeforeItself)
{
    const std::string longName(100, 'x');
    const std::vector<const char *> strings{"short", longName.c_str(), "SHORT"};
    const NameOrder order(strings);
    EXPECT_FALSE(order.ComesBefore(0, 0));
    EXPECT_FALSE(order.ComesBefore(1, 1));
    EXPECT_FALSE(order.ComesBefore(0, 2));
    EXPECT_FALSE(order.ComesBefore(2, 0));
}
} // namespace
} // namespace Keld::MORV::Reader
