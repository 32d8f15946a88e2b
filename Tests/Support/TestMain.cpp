#include <gtest/gtest.h>

int main(int argumentCount, char **arguments)
{
    testing::InitGoogleTest(&argumentCount, arguments);
    // Tests may leave helper threads of the platform behind; death tests start afresh instead of forking into their
    // middle.
    GTEST_FLAG_SET(death_test_style, "threadsafe");
    return RUN_ALL_TESTS();
}
