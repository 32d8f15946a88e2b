#include "KeldMorvIO/listing/PathPrefixQueue.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::MORV::Reader
{
namespace
{
TEST(PathPrefixQueue, GivesTextsInTheOrderInWhichTheyCame)
{
    PathPrefixQueue queue(1000);
    queue.Push(1, "a/");
    queue.Push(4, "a/b/");
    std::string prefix = "other";
    EXPECT_FALSE(queue.Pop(4, prefix)); // not its turn
    EXPECT_TRUE(queue.Pop(1, prefix));
    EXPECT_EQ("a/", prefix);
    EXPECT_TRUE(queue.Pop(4, prefix));
    EXPECT_EQ("a/b/", prefix);
    EXPECT_FALSE(queue.Pop(4, prefix));
    EXPECT_EQ("a/b/", prefix);
}

TEST(PathPrefixQueue, HasRoomForItsBudgetAlone)
{
    PathPrefixQueue queue(10);
    EXPECT_TRUE(queue.HasRoom(10));
    EXPECT_FALSE(queue.HasRoom(11));
    queue.Push(1, "abcd/");
    EXPECT_TRUE(queue.HasRoom(5));
    EXPECT_FALSE(queue.HasRoom(6));
    std::string prefix;
    EXPECT_TRUE(queue.Pop(1, prefix));
    EXPECT_TRUE(queue.HasRoom(10));
}

TEST(PathPrefixQueue, GoesOnWhileOldTextMakesRoomForNew)
{
    PathPrefixQueue queue(0x100000);
    uint32 next = 0;
    for (uint32 directory = 0; directory < 20000; ++directory)
    {
        queue.Push(directory, std::string(directory % 100, 'x') + std::to_string(directory) + "/");
        if (directory % 3 != 0)
        {
            std::string prefix;
            ASSERT_TRUE(queue.Pop(next, prefix));
            ASSERT_EQ(std::string(next % 100, 'x') + std::to_string(next) + "/", prefix);
            ++next;
        }
    }
}
} // namespace
} // namespace Keld::MORV::Reader
