#include "KeldFoundation/CStd/FileStatus.h"

#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <fcntl.h>
#include <sys/stat.h>

namespace Keld::Test
{
// A sanitizer tells where the product overflows as a number with a sign.
TEST(FileStatusTest, WrapsATimeThatDoesNotFit)
{
    const TempTree tree;
    const std::string path = tree.Write("file", "x");
    for (const time_t seconds : {time_t{10'000'000'000}, time_t{-10'000'000'000}, time_t{1'700'000'000}})
    {
        const timespec times[2] = {{seconds, 5}, {seconds, 5}};
        ASSERT_EQ(utimensat(AT_FDCWD, path.c_str(), times, 0), 0);
        struct stat status = {};
        ASSERT_EQ(stat(path.c_str(), &status), 0); // a disk may hold fewer times
        const uint64 expected =
            static_cast<uint64>(status.st_mtim.tv_sec) * 1'000'000'000 + static_cast<uint64>(status.st_mtim.tv_nsec);
        EXPECT_EQ(static_cast<uint64>(GetFileStatus(path.c_str()).modified), expected);
    }
}
} // namespace Keld::Test
