#include "Tools/TreeWriter/WriteLock.h"

#include "Tools/PackFixture.h"

#include <atomic>
#include <thread>

namespace Keld::Test
{
namespace
{
using TreeWriter::WriteLock;

const auto NobodyWaits = []
{
    ADD_FAILURE() << "waits though nobody holds the lock";
};

using WriteLockTest = PackFixture;

TEST_F(WriteLockTest, MakesTheDirectoryAndRemovesItWhenNothingCameIntoIt)
{
    {
        const WriteLock lock(mTree.Path("MORV/projects/game"), NobodyWaits);
        EXPECT_TRUE(mTree.Exists("MORV/projects/game"));
    }
    EXPECT_FALSE(mTree.Exists("MORV"));
    {
        const WriteLock lock(mTree.Path("MORV/projects/game"), NobodyWaits);
        mTree.Write("MORV/projects/file", "");
    }
    EXPECT_FALSE(mTree.Exists("MORV/projects/game"));
    EXPECT_TRUE(mTree.Exists("MORV/projects/file"));
}

TEST_F(WriteLockTest, ASecondHolderWaitsAndMayGiveUp)
{
    const WriteLock first(mTree.Path("game"), NobodyWaits);
    int waited = 0;
    const auto giveUp = [&waited]
    {
        if (++waited == 3)
        {
            throw std::runtime_error("enough");
        }
    };
    EXPECT_THROW(WriteLock(mTree.Path("game"), giveUp), std::runtime_error);
    EXPECT_EQ(waited, 3);
    const WriteLock other(mTree.Path("another"), NobodyWaits);
}

TEST_F(WriteLockTest, ManyHoldersComeOneAfterTheOtherThoughTheDirectoryComesAndGoes)
{
    std::atomic<int> inside{0};
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int number = 0; number < 4; ++number)
    {
        threads.emplace_back(
            [this, &inside]
            {
                for (int turn = 0; turn < 50; ++turn)
                {
                    const WriteLock lock(mTree.Path("projects/game"), [] {});
                    EXPECT_EQ(++inside, 1);
                    std::this_thread::yield();
                    --inside;
                }
            });
    }
    for (std::thread &thread : threads)
    {
        thread.join();
    }
    // Its parent may stay, empty: when the one who had made that left, another had just made the directory in it anew.
    EXPECT_FALSE(mTree.Exists("projects/game"));
}

TEST_F(WriteLockTest, WhatCannotBeLockedIsNamed)
{
    mTree.Write("file", "");
    try
    {
        const WriteLock lock(mTree.Path("file"), NobodyWaits);
        ADD_FAILURE();
    }
    catch (const std::system_error &error)
    {
        EXPECT_NE(std::string(error.what()).find("/file"), std::string::npos);
    }
}

TEST_F(WriteLockTest, ALinkToNothingIsNamedAtOnce)
{
    mTree.MakeDirectory("MORV");
    const std::string links[] = {"MORV/projects", "MORV/link"};
    for (const std::string &link : links)
    {
        std::filesystem::create_symlink("nothing", mTree.Path(link));
    }
    const std::string places[] = {"MORV/projects/game", "MORV/link"};
    for (std::size_t which = 0; which < std::size(places); ++which)
    {
        try
        {
            const WriteLock lock(mTree.Path(places[which]), NobodyWaits);
            ADD_FAILURE();
        }
        catch (const std::system_error &error)
        {
            EXPECT_EQ(error.what(),
                      "cannot follow the link " + mTree.Path(links[which]) + ": No such file or directory");
        }
    }
}

TEST_F(WriteLockTest, ALinkToADirectoryIsFollowed)
{
    mTree.MakeDirectory("elsewhere");
    mTree.MakeDirectory("MORV");
    std::filesystem::create_directory_symlink("../elsewhere", mTree.Path("MORV/projects"));
    const WriteLock lock(mTree.Path("MORV/projects/game"), NobodyWaits);
    EXPECT_TRUE(mTree.Exists("elsewhere/game"));
}

TEST_F(WriteLockTest, OfTwoPacksOfOneReleaseOneWinsWholeAndTheOtherIsRefused)
{
    const std::string sources[] = {"source", "other"};
    for (const std::string &source : sources)
    {
        for (int number = 0; number < 20; ++number)
        {
            mTree.Write(source + "/f" + std::to_string(number), source);
        }
    }
    for (int turn = 0; turn < 10; ++turn)
    {
        std::atomic<int> made{0};
        std::vector<std::thread> threads;
        for (const std::string &source : sources)
        {
            threads.emplace_back(
                [this, &made, source]
                {
                    TreeWriter::PackRequest request =
                        Request(source == "other" ? TreeReader::Storage::Managed : TreeReader::Storage::Archive);
                    request.source = mTree.Path(source);
                    if (Refusal(request).empty())
                    {
                        ++made;
                    }
                });
        }
        for (std::thread &thread : threads)
        {
            thread.join();
        }
        EXPECT_EQ(made, 1);
        const ReleaseReader reader(mTree.Path("MORV/projects/game/releases/1.0.0.0"));
        const std::string winner = reader.Read("f0");
        for (int number = 0; number < 20; ++number)
        {
            EXPECT_EQ(reader.Read("f" + std::to_string(number)), winner);
        }
        mTree.Remove("MORV");
    }
}
} // namespace
} // namespace Keld::Test
