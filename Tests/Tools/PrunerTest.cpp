#include "Tools/RandomReleases.h"
#include "Tools/ReleaseReader.h"

#include "Support/KilledChild.h"
#include "Support/ManifestImage.h"
#include "Support/TempTree.h"

#include "Tools/TreeReader/Census.h"
#include "Tools/TreeReader/TreeSet.h"
#include "Tools/TreeWriter/Pruner.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using TreeWriter::PrunePlan;
using TreeWriter::PruneRequest;

constexpr int PrunerMostSteps = 400;
constexpr uint32 PrunerReleaseCount = 4;

std::set<std::string> NamesBelow(const std::string &directory)
{
    std::set<std::string> names;
    for (const auto &entry : fs::recursive_directory_iterator(directory))
    {
        names.insert(fs::relative(entry.path(), directory));
    }
    return names;
}

/// Four releases of "game", each a delta of the one before, of which the first and the last go.
class PrunerTest : public testing::TestWithParam<uint32>
{
protected:
    PrunerTest() : mRandom(GetParam())
    {
        RandomReleases releases(mTree, mRandom);
        FileContents files = mRandom.Make(8);
        for (MorvVersion number = 0; number < PrunerReleaseCount; ++number)
        {
            const MorvVersion version = RandomReleases::First + number;
            releases.Pack("game", files, version, number == 0 ? std::nullopt : std::optional<MorvVersion>(version - 1));
            files = mRandom.Change(files);
        }
        releases.Pack("other", mRandom.Make(3), RandomReleases::First);
        mRequest.root = mTree.Path("MORV");
        mRequest.keep = {{false, "game", RandomReleases::First + 1}, {false, "game", RandomReleases::First + 2}};
        fs::copy(mTree.Path("MORV"), mTree.Path("pristine"), fs::copy_options::recursive);
    }

    void Restore() const
    {
        fs::remove_all(mTree.Path("MORV"));
        fs::copy(mTree.Path("pristine"), mTree.Path("MORV"), fs::copy_options::recursive);
    }

    static TreeWriter::PruneOptions WithoutSync()
    {
        TreeWriter::PruneOptions options;
        options.sync = false; // no test loses power
        return options;
    }

    /// Prunes in a process that is killed before step `step`, the first being 1. False when it came to its end before.
    bool PruneAndDieAt(int step) const
    {
        TreeWriter::PruneOptions options = WithoutSync();
        options.step = KillAtCall(step - 1);
        return IsKilledDoing(
            [this, &options]
            {
                TreeWriter::Prune(mRequest, options);
            });
    }

    std::string Place(MorvVersion number) const
    {
        return mTree.Path("MORV/projects/game/releases/" + FormatVersion(RandomReleases::First + number));
    }

    std::map<std::string, std::string> ContentsOf(MorvVersion number) const
    {
        const ReleaseReader reader(Place(number));
        std::map<std::string, std::string> contents;
        for (const auto &[path, size] : reader.FindAll())
        {
            contents[path] = reader.Read(path);
        }
        return contents;
    }

    /// No release that can be seen lacks a file.
    void ExpectAllVisibleWhole() const
    {
        TreeReader::TreeSet trees;
        for (MorvVersion number = 0; number < PrunerReleaseCount; ++number)
        {
            if (!fs::exists(Place(number) + "/releasemanifest"))
            {
                continue;
            }
            const auto view = trees.Open("", Place(number));
            ASSERT_TRUE(view) << view.GetFault().GetMessage();
            EXPECT_EQ(TreeReader::TakeCensus(*view, 1).GetSummary(), "") << number;
        }
    }

    TempTree mTree;
    RandomTree mRandom;
    PruneRequest mRequest;
};

TEST_P(PrunerTest, WhatIsKeptReadsAsBeforeAndNothingElseStays)
{
    const auto second = ContentsOf(1);
    const auto third = ContentsOf(2);
    const auto other = NamesBelow(mTree.Path("MORV/projects/other"));
    const PrunePlan plan = TreeWriter::PlanPrune(mRequest);
    EXPECT_EQ(plan.releases.size(), 2u);
    EXPECT_TRUE(NamesBelow(mTree.Path("MORV")) == NamesBelow(mTree.Path("pristine")));
    const PrunePlan done = TreeWriter::Prune(mRequest, WithoutSync());
    EXPECT_EQ(done.GetSize(), plan.GetSize());
    EXPECT_EQ(done.GetFileCount(), plan.GetFileCount());
    EXPECT_TRUE(ContentsOf(1) == second);
    EXPECT_TRUE(ContentsOf(2) == third);
    EXPECT_TRUE(NamesBelow(mTree.Path("MORV/projects/other")) == other);
    EXPECT_FALSE(fs::exists(Place(0)));
    EXPECT_FALSE(fs::exists(Place(3)));
    EXPECT_TRUE(TreeWriter::PlanPrune(mRequest).IsEmpty());
}

TEST_P(PrunerTest, KilledAtAnyStepItLeavesWholeReleasesAndTheNextRunEndsTheWork)
{
    const auto second = ContentsOf(1);
    const auto third = ContentsOf(2);
    TreeWriter::Prune(mRequest, WithoutSync());
    const std::set<std::string> end = NamesBelow(mTree.Path("MORV"));
    int step = 1;
    for (; step < PrunerMostSteps; ++step)
    {
        SCOPED_TRACE(step);
        Restore();
        if (!PruneAndDieAt(step))
        {
            break;
        }
        ExpectAllVisibleWhole();
        EXPECT_TRUE(ContentsOf(1) == second);
        EXPECT_TRUE(ContentsOf(2) == third);
        TreeWriter::Prune(mRequest, WithoutSync());
        EXPECT_TRUE(NamesBelow(mTree.Path("MORV")) == end);
    }
    EXPECT_GT(step, 4);
    EXPECT_LT(step, PrunerMostSteps);
}

INSTANTIATE_TEST_SUITE_P(Seeds, PrunerTest, testing::Range(0u, 3u));

TEST(PrunePlans, PassALinkThatLeadsToItself)
{
    const TempTree tree;
    ManifestImage image("game");
    image.File("a.txt");
    tree.Write("MORV/projects/game/releases/1.0.0.0/releasemanifest", image.Bytes());
    tree.Write("MORV/projects/game/releases/1.0.0.0/deploy/a.txt", "");
    const std::string solution = tree.MakeDirectory("MORV/solutions/suite/releases/0.0.1.0");
    fs::create_symlink("solutionmanifest", solution + "/solutionmanifest");
    PruneRequest request;
    request.root = tree.Path("MORV");
    request.keep = {{false, "game", 0x01000000}};
    request.everything = true;
    EXPECT_TRUE(PlanPrune(request).IsEmpty());
}
} // namespace
} // namespace Keld::Test
