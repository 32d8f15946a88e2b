#include "Tools/Delivery/Arrival/Arrival.h"

#include "Support/KilledChild.h"
#include "Support/TempTree.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/DirectoryProtection.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <filesystem>
#include <thread>

#include <unistd.h>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using Delivery::Arrival;
using Delivery::ArrivalOptions;
using Delivery::ArrivalPlan;

const std::string GamePlace = "projects/game/";
const std::string IndexPath = GamePlace + "filearchives/1.0.0.0/files-0001.vka";
const std::string DataPath = IndexPath + ".dat";
const std::string ManagedPath = GamePlace + "managedfiles/1.0.0.0/a/b";
const std::string NakedPath = GamePlace + "releases/1.0.0.0/deploy/d/e";
const std::string ShipListPath = GamePlace + "releases/1.0.0.0/shiplist";
const std::string ManifestPath = GamePlace + "releases/1.0.0.0/releasemanifest";
const std::string SolutionPath = "solutions/suite/releases/0.0.1.0/solutionmanifest";

// In the order in which they may appear.
const std::vector<std::string> ArrivalOrder{DataPath,     ManagedPath,  NakedPath,   IndexPath,
                                            ShipListPath, ManifestPath, SolutionPath};

class ArrivalTest : public testing::Test
{
protected:
    ArrivalPlan Plan() const { return {mTree.Path("MORV"), "game-1.0.0.0", {"game"}, {"suite"}}; }

    static ArrivalOptions Options()
    {
        ArrivalOptions options;
        options.sync = false; // no test loses power
        return options;
    }

    static void Put(const Arrival &arrival, const std::string &path, const std::string &bytes)
    {
        const Common::Descriptor file = arrival.OpenPartial(path);
        ASSERT_EQ(pwrite(file.Get(), bytes.data(), bytes.size(), 0), static_cast<ssize_t>(bytes.size()));
    }

    static void PutAll(const Arrival &arrival)
    {
        for (const std::string &path : ArrivalOrder)
        {
            if (!arrival.IsAccepted(path))
            {
                Put(arrival, path, "bytes of " + path);
                arrival.Accept(path);
            }
        }
    }

    void PublishAll(const std::function<void()> &step) const
    {
        ArrivalOptions options = Options();
        options.step = step;
        Arrival arrival(Plan(), options);
        PutAll(arrival);
        arrival.Publish(ArrivalOrder);
    }

    /// In a process of its own, which is killed at a step, the first one being 0.
    /// \returns whether it came to that
    bool IsKilledAtStep(int step) const
    {
        return IsKilledDoing(
            [&]
            {
                PublishAll(KillAtCall(step));
            });
    }

    bool IsThere(const std::string &path) const { return mTree.Exists("MORV/" + path); }

    std::string Refusal(const std::function<void()> &call) const
    {
        try
        {
            call();
        }
        catch (const std::exception &error)
        {
            return error.what();
        }
        return "";
    }

    void ExpectAllThere() const
    {
        for (const std::string &path : ArrivalOrder)
        {
            EXPECT_EQ(mTree.Read("MORV/" + path), "bytes of " + path);
        }
        EXPECT_FALSE(IsThere("arriving"));
        EXPECT_TRUE(IsThere("solutions/suite/releases/0.0.1.0/deploy")); // where programs start
    }

    /// What is there comes before everything that is not.
    void ExpectInOrder() const
    {
        bool isMissing = false;
        for (const std::string &path : ArrivalOrder)
        {
            EXPECT_FALSE(isMissing && IsThere(path)) << path;
            isMissing = isMissing || !IsThere(path);
        }
    }

    TempTree mTree;
};

TEST_F(ArrivalTest, WhatArrivedComesToItsPlacesAndLeavesNothingBehind)
{
    {
        Arrival arrival(Plan(), Options());
        PutAll(arrival);
        EXPECT_FALSE(IsThere(DataPath));
        arrival.Publish({ArrivalOrder.rbegin(), ArrivalOrder.rend()});
    }
    ExpectAllThere();
}

TEST_F(ArrivalTest, NothingIsSeenOfARunThatDoesNotPublish)
{
    {
        const Arrival arrival(Plan(), Options());
    }
    EXPECT_FALSE(mTree.Exists("MORV/arriving"));
    EXPECT_FALSE(mTree.Exists("MORV/projects"));
    {
        const Arrival arrival(Plan(), Options());
        Put(arrival, DataPath, "so far");
    }
    EXPECT_FALSE(mTree.Exists("MORV/projects"));
    Arrival next(Plan(), Options());
    EXPECT_FALSE(next.IsAccepted(DataPath));
    EXPECT_EQ(lseek(next.OpenPartial(DataPath).Get(), 0, SEEK_END), 6);
    next.RemovePartial(DataPath);
    EXPECT_EQ(lseek(next.OpenPartial(DataPath).Get(), 0, SEEK_END), 0);
    EXPECT_EQ(Refusal(
                  [&next]
                  {
                      next.Publish({DataPath});
                  }),
              DataPath + ": did not arrive");
    next.Discard();
    EXPECT_FALSE(next.OpenAccepted(DataPath).IsOpen());
}

TEST_F(ArrivalTest, KilledAtAnyStepNoFileIsSeenBeforeWhatItCountsOnAndTheNextRunGoesOn)
{
    int step = 0;
    for (bool killed = true; killed; ++step)
    {
        SCOPED_TRACE(step);
        ASSERT_LT(step, 30);
        killed = IsKilledAtStep(step);
        ExpectInOrder();
        EXPECT_EQ(IsThere("arriving"), killed);
        {
            Arrival next(Plan(), Options());
            for (const std::string &path : ArrivalOrder)
            {
                EXPECT_EQ(next.IsAccepted(path), killed) << path;
                EXPECT_EQ(next.OpenAccepted(path).IsOpen(), killed) << path;
            }
            PutAll(next);
            next.Publish(ArrivalOrder);
        }
        ExpectAllThere();
        fs::remove_all(mTree.Path("MORV"));
    }
    EXPECT_EQ(step,
              static_cast<int>(ArrivalOrder.size()) + 2); // one before the first move, and one run that came to its end
}

TEST_F(ArrivalTest, AFileThatWasTakenAwayAfterAKilledPublicationDidNotArrive)
{
    ASSERT_TRUE(IsKilledAtStep(3));
    ASSERT_TRUE(IsThere(DataPath));
    mTree.Remove("MORV/" + DataPath);
    mTree.Write("MORV/" + ManagedPath, "of somebody else");
    const Arrival next(Plan(), Options());
    EXPECT_FALSE(next.IsAccepted(DataPath));
    EXPECT_FALSE(next.IsAccepted(ManagedPath));
    EXPECT_TRUE(next.IsAccepted(NakedPath));
}

TEST_F(ArrivalTest, AFileThatIsTakenAwayWhileItIsPublishedIsToldAndWhatElseArrivedStays)
{
    // At the first step, before the journal is written; at a later one, while other files come to their places.
    for (const int taking : {1, 3})
    {
        SCOPED_TRACE(taking);
        {
            int count = 0;
            ArrivalOptions options = Options();
            options.step = [&count, taking, this]
            {
                if (++count == taking)
                {
                    mTree.Remove("MORV/arriving/game-1.0.0.0/whole/" + IndexPath);
                }
            };
            Arrival arrival(Plan(), options);
            PutAll(arrival);
            EXPECT_EQ(Refusal(
                          [&arrival]
                          {
                              arrival.Publish(ArrivalOrder);
                          }),
                      IndexPath + ": had arrived, and somebody took it away before it came to its place");
            EXPECT_FALSE(IsThere(ManifestPath));
            EXPECT_FALSE(arrival.IsAccepted(IndexPath));
            for (const std::string &path : {DataPath, NakedPath, ManifestPath, SolutionPath})
            {
                EXPECT_TRUE(arrival.IsAccepted(path)) << path;
            }
        }
        {
            Arrival next(Plan(), Options());
            PutAll(next);
            next.Publish(ArrivalOrder);
        }
        ExpectAllThere();
        fs::remove_all(mTree.Path("MORV"));
    }
}

TEST_F(ArrivalTest, WhatWasAcceptedBeforeTheMachineStartedAnewIsLookedAtAgain)
{
    {
        const Arrival arrival(Plan(), Options());
        PutAll(arrival);
    }
    mTree.Write("MORV/arriving/game-1.0.0.0/boot", "another start");
    const Arrival next(Plan(), Options());
    for (const std::string &path : ArrivalOrder)
    {
        EXPECT_FALSE(next.IsAccepted(path));
        EXPECT_EQ(lseek(next.OpenPartial(path).Get(), 0, SEEK_END), static_cast<off_t>(9 + path.size()));
        next.Accept(path);
        EXPECT_TRUE(next.IsAccepted(path));
    }
}

TEST_F(ArrivalTest, WhatAPublicationHadBegunToBringIsKeptThoughTheNextRunIsKilledWhileItLooksAtIt)
{
    ASSERT_TRUE(IsKilledAtStep(2));
    const std::string staging = "MORV/arriving/game-1.0.0.0/";
    // After another start of the machine, and killed when one file of many was taken back.
    mTree.Write(staging + "boot", "another start");
    fs::rename(mTree.Path(staging + "whole"), mTree.Path(staging + "doubtful"));
    fs::create_directories(fs::path(mTree.Path(staging + "whole/" + ManifestPath)).parent_path());
    fs::rename(mTree.Path(staging + "doubtful/" + ManifestPath), mTree.Path(staging + "whole/" + ManifestPath));
    const Arrival next(Plan(), Options());
    for (const std::string &path : ArrivalOrder)
    {
        EXPECT_TRUE(next.IsAccepted(path)) << path;
    }
}

TEST_F(ArrivalTest, AFileOfTheTreeMayBeCalledAsTheOneThatTellsOfTheBoot)
{
    const std::string path = GamePlace + "managedfiles/1.0.0.0/boot";
    {
        const Arrival arrival(Plan(), Options());
        Put(arrival, path, "so far");
    }
    const Arrival next(Plan(), Options());
    EXPECT_EQ(lseek(next.OpenPartial(path).Get(), 0, SEEK_END), 6);
}

TEST_F(ArrivalTest, AFileThatIsThereIsReplacedInOneStep)
{
    mTree.Write("MORV/" + DataPath, "damaged");
    Arrival arrival(Plan(), Options());
    Put(arrival, DataPath, "mended");
    arrival.Accept(DataPath);
    EXPECT_EQ(mTree.Read("MORV/" + DataPath), "damaged");
    arrival.Publish({DataPath});
    EXPECT_EQ(mTree.Read("MORV/" + DataPath), "mended");
}

TEST_F(ArrivalTest, AProtectedDirectoryTakesFilesAndStaysProtected)
{
    const std::string directory = mTree.MakeDirectory("MORV/" + GamePlace + "filearchives/1.0.0.0");
    TreeWriter::Protect(directory);
    {
        Arrival arrival(Plan(), Options());
        PutAll(arrival);
        arrival.Publish(ArrivalOrder);
    }
    ExpectAllThere();
    EXPECT_TRUE(TreeWriter::IsProtected(directory));
    TreeWriter::RemoveTree(mTree.Path("MORV"));
    ArrivalOptions options = Options();
    options.protect = true;
    {
        Arrival arrival(Plan(), options);
        PutAll(arrival);
        arrival.Publish(ArrivalOrder);
    }
    EXPECT_TRUE(TreeWriter::IsProtected(directory));
    TreeWriter::RemoveTree(mTree.Path("MORV"));
}

TEST_F(ArrivalTest, HostilePathsAndNamesAreRefusedByName)
{
    const Arrival arrival(Plan(), Options());
    for (const std::string path : {"../x", "/etc/x", "projects/game/managedfiles/1.0.0.0/../../../../../x", ""})
    {
        const auto open = [&]
        {
            arrival.OpenPartial(path);
        };
        EXPECT_EQ(Refusal(open), path + ": would leave the tree, or holds a name that is none");
    }
    for (const char *name : {"..", "a/b", ""})
    {
        ArrivalPlan plan = Plan();
        plan.projects = {name};
        const auto begin = [&plan]
        {
            const Arrival hostile(plan, Options());
        };
        EXPECT_EQ(Refusal(begin), "\"" + std::string(name) + "\": is no name of a project or a solution");
    }
}

TEST_F(ArrivalTest, NoSymbolicLinkLeadsOutOfTheTree)
{
    mTree.MakeDirectory("elsewhere");
    mTree.MakeDirectory("MORV/projects/game");
    fs::create_symlink(mTree.Path("elsewhere"), mTree.Path("MORV/projects/game/managedfiles"));
    {
        Arrival arrival(Plan(), Options());
        Put(arrival, ManagedPath, "bytes");
        arrival.Accept(ManagedPath);
        const auto publish = [&arrival]
        {
            arrival.Publish({ManagedPath});
        };
        const std::string reason = "\"projects/game/managedfiles\" is a symbolic link there, and none is followed";
        EXPECT_NE(Refusal(publish).find(reason), std::string::npos);
    }
    EXPECT_TRUE(fs::is_empty(mTree.Path("elsewhere")));
    fs::remove_all(mTree.Path("MORV"));
    mTree.MakeDirectory("MORV/projects");
    fs::create_symlink(mTree.Path("elsewhere"), mTree.Path("MORV/projects/game"));
    const auto begin = [this]
    {
        const Arrival arrival(Plan(), Options());
    };
    EXPECT_NE(Refusal(begin).find("/projects/game: is a symbolic link, and files are not brought through one"),
              std::string::npos);
    EXPECT_TRUE(fs::is_empty(mTree.Path("elsewhere")));
}

TEST_F(ArrivalTest, OnlyOneAtATimeArrivesInAProject)
{
    auto first = std::make_unique<Arrival>(Plan(), Options());
    std::atomic<bool> waits{false};
    std::atomic<bool> came{false};
    std::thread other(
        [&]
        {
            ArrivalOptions options = Options();
            options.whileWaiting = [&waits]
            {
                waits = true;
            };
            ArrivalPlan plan = Plan();
            plan.purpose = "another";
            const Arrival second(plan, options);
            came = true;
        });
    while (!waits)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_FALSE(came);
    first.reset();
    other.join();
    EXPECT_TRUE(came);
}
} // namespace
} // namespace Keld::Test
