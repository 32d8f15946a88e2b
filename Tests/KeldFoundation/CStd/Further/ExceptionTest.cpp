#include "KeldFoundation/CStd/Further/Exception.h"

#include <gtest/gtest.h>

#include <exception>
#include <string>

namespace Keld::Test
{
TEST(ExceptionTest, IsUnknownWithoutAText)
{
    EXPECT_STREQ(std_exception().what(), "unknown");
}

TEST(ExceptionTest, CarriesItsText)
{
    const std_exception exception("out of handles");
    const std::exception &base = exception;
    EXPECT_STREQ(base.what(), "out of handles");
    EXPECT_STREQ(std_exception(exception).what(), "out of handles");
}

TEST(ExceptionTest, CutsALongTextTo1023Characters)
{
    const std::string text = std::string(1023, 'a') + std::string(977, 'b');
    EXPECT_EQ(std_exception(text.c_str()).what(), std::string(1023, 'a'));
}

TEST(ExceptionTest, HoldsTheTextInside)
{
    std::string text = "short-lived";
    const std_exception exception(text.c_str());
    text.assign("overwritten");
    EXPECT_STREQ(exception.what(), "short-lived");
    EXPECT_GE(sizeof exception, 1024u);
}
} // namespace Keld::Test
