#include "KeldFoundation/CStd/FileWatch.h"

#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <chrono>
#include <filesystem>
#include <string>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

class FileWatchTest : public testing::Test
{
protected:
    TempTree mTree;
    const std::string mPath = mTree.Path("zone");
    FileWatch mWatch{mPath.c_str()};
};
} // namespace

TEST_F(FileWatchTest, NoticesAFileThatComesOnceAndOneThatGoes)
{
    EXPECT_FALSE(mWatch.HasChanged());
    mTree.Write("zone", "a");
    EXPECT_TRUE(mWatch.HasChanged());
    EXPECT_FALSE(mWatch.HasChanged());
    fs::remove(mPath);
    EXPECT_TRUE(mWatch.HasChanged());
    EXPECT_FALSE(mWatch.HasChanged());
}

TEST_F(FileWatchTest, NoticesAnotherContentByItsSizeOrItsTime)
{
    mTree.Write("zone", "a");
    const fs::file_time_type time = fs::last_write_time(mPath);
    EXPECT_TRUE(mWatch.HasChanged());
    mTree.Write("zone", "bb");
    fs::last_write_time(mPath, time);
    EXPECT_TRUE(mWatch.HasChanged());
    fs::last_write_time(mPath, time + std::chrono::nanoseconds(1));
    EXPECT_TRUE(mWatch.HasChanged());
    EXPECT_FALSE(mWatch.HasChanged());
}

// As the system's zone changes: a link to another file of the same size and time.
TEST_F(FileWatchTest, NoticesALinkThatLeadsToAnotherFile)
{
    mTree.Write("east", "a");
    mTree.Write("west", "b");
    fs::last_write_time(mTree.Path("west"), fs::last_write_time(mTree.Path("east")));
    fs::create_symlink("east", mPath);
    EXPECT_TRUE(mWatch.HasChanged());
    EXPECT_FALSE(mWatch.HasChanged());
    fs::remove(mPath);
    fs::create_symlink("west", mPath);
    EXPECT_TRUE(mWatch.HasChanged());
    EXPECT_FALSE(mWatch.HasChanged());
}
} // namespace Keld::Test
