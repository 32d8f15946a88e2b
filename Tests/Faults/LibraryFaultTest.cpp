#include "Faults/FaultRun.h"
#include "Faults/LibraryProbe.h"
#include "Tools/CheckedTree.h"

#include <algorithm>
#include <filesystem>
#include <functional>
#include <iterator>
#include <map>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;

/// A solution with a file in every storage, used by a consumer under whom one call fails.
class LibraryFaultTest : public CheckedTree
{
protected:
    LibraryFaultTest() { fs::copy(mTree.Path("MORV"), mTree.Path("kept"), fs::copy_options::recursive); }

    /// What runs armed, and what follows when nothing fails any more.
    using Part = std::function<void(LibraryProbe &, FaultPlan &)>;

    static void StartArmed(LibraryProbe &probe, FaultPlan &plan)
    {
        probe.Expect(false);
        plan.armed = 1;
        probe.Start();
        plan.armed = 0;
        probe.Walk();
        probe.Stop();
    }

    static void UseArmed(LibraryProbe &probe, FaultPlan &plan)
    {
        probe.Start();
        probe.Expect(false);
        plan.armed = 1;
        probe.Walk();
        plan.armed = 0;
        probe.WalkAgain();
        plan.armed = 1;
        probe.Stop();
        plan.armed = 0;
    }

    static std::ptrdiff_t CountDescriptors()
    {
        return std::distance(fs::directory_iterator("/proc/self/fd"), fs::directory_iterator());
    }

    /// When memory runs out in a start, the listings that were made before are left as they are, with the data files
    /// that they hold open, each once.
    std::ptrdiff_t CountKeptDataFiles(std::ptrdiff_t before) const
    {
        std::map<fs::path, int> files;
        for (const auto &entry : fs::directory_iterator("/proc/self/fd"))
        {
            std::error_code error;
            const fs::path file = fs::read_symlink(entry.path(), error);
            if (file.extension() == ".dat")
            {
                ++files[file];
            }
        }
        const bool isEachOnce = std::all_of(files.begin(), files.end(),
                                            [](const auto &file)
                                            {
                                                return file.second == 1;
                                            });
        const auto kept = static_cast<std::ptrdiff_t>(files.size());
        return isEachOnce && CountDescriptors() == before + kept ? kept : 0;
    }

    /// The one thing that a library changes in a tree: an index that cannot be read is deleted, and it says so of each.
    void BringBackIndexes(LibraryProbe &probe) const
    {
        for (const auto &entry : fs::recursive_directory_iterator(mTree.Path("kept")))
        {
            const fs::path path = entry.path().lexically_relative(mTree.Path("kept"));
            const fs::path place = mTree.Path("MORV") / path;
            if (!fs::exists(place))
            {
                fs::copy_file(entry.path(), place);
                if (place.extension() != ".vka" || !LibraryProbe::ToldOfDeletionOf(path))
                {
                    probe.Complain("lost", place.c_str());
                }
            }
        }
    }

    int Use(LibraryProbe &probe, FaultPlan &plan, const Part &part) const
    {
        std::ptrdiff_t before = CountDescriptors();
        part(probe, plan);
        if (plan.injected == 0 && LibraryProbe::ToldOfFailure())
        {
            probe.Complain("told of a failure", "though nothing fails");
        }
        probe.Expect(true);
        if (probe.RanOutOfMemoryAtStart())
        {
            before += CountKeptDataFiles(before);
        }
        const bool mayBeShortOfMemory = plan.failing == FaultMalloc || plan.failing == FaultMmap;
        if (probe.WasOutOfMemory() && !mayBeShortOfMemory)
        {
            probe.Complain("out of memory", "though there was enough");
        }
        BringBackIndexes(probe);
        for (int round = 0; round < 2; ++round)
        {
            if (CountDescriptors() != before)
            {
                probe.Complain("descriptors are lost", round == 0 ? "under failures" : "afterwards");
            }
            probe.TakeAllSlots(mTree.Path(Suite + "solutionmanifest"));
            probe.Start();
            probe.Walk();
            probe.Stop();
        }
        return probe.GetComplaintCount() == 0 ? 0 : 1;
    }

    /// Every call of the part fails once, in turn, in every way.
    void Hold(const std::string &title, const std::string &directory, const Part &part) const
    {
        LibraryProbe probe(mTree.Path(directory));
        const auto work = [&](FaultPlan &plan)
        {
            return Use(probe, plan, part);
        };
        const FaultOutcome counted = RunUnder(CountingPlan(), work);
        ASSERT_EQ(counted.exitCode, 0) << counted.Text();
        MatrixTable table(title, "failures");
        for (int call = 0; call < FaultCallCount; ++call)
        {
            if (counted.plan.calls[call] != 0)
            {
                table.SetCalls(FaultCallName(call), counted.plan.calls[call]);
            }
        }
        const std::vector<FaultPoint> points = ChooseFaults(counted.plan);
        EXPECT_TRUE(!points.empty() || IsOnePointWanted()) << title;
        for (const FaultPoint &point : points)
        {
            const FaultOutcome outcome = RunUnder(point.Plan(), work);
            const bool held = outcome.exitCode == 0 && outcome.plan.injected == 1;
            table.Add(FaultCallName(point.call), held);
            EXPECT_TRUE(held) << title << ", " << point.Text() << ": " << outcome.Text();
        }
    }
};

TEST_F(LibraryFaultTest, AStartOfASolutionHoldsAgainstEveryFailure)
{
    Hold("start of a solution", Suite, StartArmed);
}

TEST_F(LibraryFaultTest, AStartOfAProjectHoldsAgainstEveryFailure)
{
    Hold("start of a project", GameReleases + "1.0.0.0", StartArmed);
}

TEST_F(LibraryFaultTest, FindingOpeningReadingAndClosingHoldAgainstEveryFailure)
{
    Hold("find, open, read, close and shutdown over every storage", Suite, UseArmed);
}
} // namespace
} // namespace Keld::Test
