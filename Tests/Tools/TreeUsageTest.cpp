#include "Tools/RandomReleases.h"

#include "Support/TempTree.h"

#include "Tools/TreeReader/ContentUsage.h"
#include "Tools/TreeReader/TreeSet.h"
#include "Tools/TreeReader/TreeUsage.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using TreeReader::ContentUsage;
using TreeReader::UsageTotal;

class TreeUsageTest : public testing::TestWithParam<uint32>
{
protected:
    TreeUsageTest() : mRandom(GetParam())
    {
        RandomReleases releases(mTree, mRandom);
        const FileContents first = mRandom.Make(20);
        releases.Pack("a", first, RandomReleases::First);
        releases.Pack("a", mRandom.Change(first), RandomReleases::First + 1, RandomReleases::First);
        releases.Pack("b", mRandom.Make(5), RandomReleases::First + 1);
        releases.WriteSolution({"a", "b"});
    }

    uint64 SizeOnDisk() const
    {
        uint64 size = 0;
        for (const auto &entry : fs::recursive_directory_iterator(mTree.Path("MORV/projects")))
        {
            size += entry.is_regular_file() ? entry.file_size() : 0;
        }
        return size;
    }

    TempTree mTree;
    RandomTree mRandom;
};

TEST_P(TreeUsageTest, EveryByteOfATreeThatWasJustPackedIsUsed)
{
    TreeReader::Tree tree(mTree.Path("MORV"));
    const auto usage = TreeReader::MeasureTree(tree, 2);
    ASSERT_TRUE(usage) << usage.GetFault().GetMessage();
    EXPECT_TRUE(usage->dangling.empty());
    EXPECT_TRUE(usage->faults.empty());
    EXPECT_EQ(usage->totalBytes, SizeOnDisk());
    uint64 exclusive = 0;
    for (const TreeReader::ReleaseUsage &release : usage->releases)
    {
        exclusive += release.exclusiveBytes;
        EXPECT_LE(release.exclusiveBytes, release.usedBytes);
    }
    EXPECT_LE(exclusive, usage->totalBytes);
    ASSERT_EQ(usage->releases.size(), 3u);
    EXPECT_EQ(usage->releases[2].exclusiveBytes, usage->releases[2].usedBytes); // the project b shares with nobody
}

TEST_P(TreeUsageTest, AllWaysToGroupAddUpToTheSame)
{
    TreeReader::TreeSet trees;
    const auto view = trees.Open("", mTree.Path("MORV/solutions/suite/releases/0.0.1.0"));
    ASSERT_TRUE(view) << view.GetFault().GetMessage();
    const ContentUsage usage(*view, 2);
    const UsageTotal root = usage.GetTotal(ContentUsage::Root);
    const auto expectRoot = [&root](const auto &groups)
    {
        UsageTotal sum;
        for (const auto &[key, total] : groups)
        {
            sum.Add(total);
        }
        EXPECT_EQ(sum.files, root.files);
        EXPECT_EQ(sum.bytes, root.bytes);
        EXPECT_EQ(sum.storedBytes, root.storedBytes);
    };
    expectRoot(usage.GetByExtension());
    expectRoot(usage.GetByStorage());
    std::map<uint32, UsageTotal> topLevel;
    const auto &items = usage.GetList().GetItems();
    for (uint32 index = 0; index < items.size(); ++index)
    {
        EXPECT_EQ(usage.Find(std::string(usage.GetList().GetPath(items[index]))), index);
        if (usage.GetParent(index) == ContentUsage::Root)
        {
            topLevel[index] = usage.GetTotal(index);
        }
    }
    expectRoot(topLevel);
    EXPECT_FALSE(usage.Find("no such path"));
}

INSTANTIATE_TEST_SUITE_P(Seeds, TreeUsageTest, testing::Range(0u, 4u));
} // namespace
} // namespace Keld::Test
