#include <gtest/gtest.h>

#include <cstdlib>

int main(int argumentCount, char **arguments)
{
    testing::InitGoogleTest(&argumentCount, arguments);
    // Tests may leave helper threads of the platform behind; death tests start afresh instead of forking into their
    // middle. An emulator cannot run its program anew, and says so in this variable.
    if (std::getenv("GTEST_DEATH_TEST_STYLE") == nullptr)
    {
        GTEST_FLAG_SET(death_test_style, "threadsafe");
    }
    return RUN_ALL_TESTS();
}
