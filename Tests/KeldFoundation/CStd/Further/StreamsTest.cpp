#include "KeldFoundation/CStd/Further/Streams.h"

#include "KeldFoundation/CStd/CStd.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <cerrno>
#include <cstdarg>
#include <string>

namespace Keld::Test
{
namespace
{
__attribute__((format(printf, 2, 3))) int Print(std::FILE *file, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    const int length = std_vfprintf(file, format, arguments);
    va_end(arguments);
    return length;
}
} // namespace

TEST(StreamsTest, OpensThroughTheSharedBufferAndFormatsIntoAStream)
{
    const TempTree tree;
    std::FILE *const file = std_fopen_shared((tree.Root() + "\\text").c_str(), "wb");
    ASSERT_NE(file, nullptr);
    EXPECT_EQ(Print(file, "%d", 42), 2);
    EXPECT_EQ(std_fclose(file), 0);
    EXPECT_EQ(tree.Read("text"), "42");
}

TEST(StreamsTest, RefusesToOpenAPathBeyondTheSharedBuffer)
{
    errno = 0;
    EXPECT_EQ(std_fopen_shared(std::string(1024, 'a').c_str(), "rb"), nullptr);
    EXPECT_EQ(errno, ENAMETOOLONG);
}
} // namespace Keld::Test
