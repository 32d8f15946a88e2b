#include "KeldFoundation/CStd/Further/Process.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <string>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

std::string BundleOf(const char *path)
{
    char buffer[64] = "old";
    const bool found = std_bundle_directory_of(path, buffer, sizeof buffer);
    return found ? buffer : std::string("none") + buffer;
}
} // namespace

TEST(ProcessTest, KnowsWhereTheProgramLies)
{
    const fs::path self = fs::read_symlink("/proc/self/exe");
    char buffer[1024];
    EXPECT_TRUE(std_executable_path(buffer, sizeof buffer));
    EXPECT_EQ(buffer, self.string());
    EXPECT_TRUE(std_executable_real_path(buffer, sizeof buffer));
    EXPECT_EQ(buffer, fs::canonical(self).string());
    EXPECT_TRUE(std_executable_name(buffer, sizeof buffer));
    EXPECT_EQ(buffer, self.filename().string());
    EXPECT_TRUE(std_executable_directory(buffer, sizeof buffer));
    EXPECT_EQ(buffer, self.parent_path().string() + "/");
}

TEST(ProcessTest, RefusesABufferThatIsTooSmall)
{
    char buffer[2] = {'x', 'x'};
    EXPECT_FALSE(std_executable_path(buffer, sizeof buffer));
    EXPECT_STREQ(buffer, "");
    EXPECT_FALSE(std_executable_real_path(buffer, sizeof buffer));
    EXPECT_FALSE(std_executable_name(buffer, sizeof buffer));
    EXPECT_FALSE(std_executable_directory(buffer, sizeof buffer));
}

TEST(BundleDirectoryTest, EndsABundleAtItsName)
{
    EXPECT_EQ(BundleOf("/x/Game.app"), "/x/Game.app");
    EXPECT_EQ(BundleOf("/x/Game.app/bin/game"), "/x/Game.app");
    EXPECT_EQ(BundleOf("/x/Game.app/Tool.app/bin/tool"), "/x/Game.app/Tool.app");
    EXPECT_EQ(BundleOf("/x/Game.app/Tool.app"), "/x/Game.app/Tool.app");
}

TEST(BundleDirectoryTest, FailsOutsideOfABundle)
{
    EXPECT_EQ(BundleOf("/x/game"), "none");
    EXPECT_EQ(BundleOf("/x/Game.apple/game"), "none");
    EXPECT_EQ(BundleOf(""), "none");
    char buffer[1024];
    EXPECT_FALSE(std_bundle_directory(buffer, sizeof buffer));
}
} // namespace Keld::Test
