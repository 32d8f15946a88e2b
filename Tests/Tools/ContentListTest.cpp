#include "Tools/RandomReleases.h"

#include "Support/TempTree.h"

#include "Tools/TreeReader/ContentList.h"
#include "Tools/TreeReader/TreeSet.h"
#include "Tools/TreeReader/TreeText.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <set>

namespace Keld::Test
{
namespace
{
namespace fs = std::filesystem;
using TreeReader::ComparePaths;
using TreeReader::ContentItem;
using TreeReader::ContentList;
using TreeReader::Hit;
using TreeReader::View;

TEST(ContentListOrder, ADirectorysContentStandsRightBehindIt)
{
    const std::vector<std::string> ordered = {"a", "a/b", "a/b/c", "A-b", "a0", "B", "b/\xC3\xA9", "c"};
    for (std::size_t left = 0; left < ordered.size(); ++left)
    {
        for (std::size_t right = 0; right < ordered.size(); ++right)
        {
            const int order = ComparePaths(ordered[left], ordered[right]);
            EXPECT_EQ(order < 0, left < right) << ordered[left] << " " << ordered[right];
            EXPECT_EQ(order == 0, left == right) << ordered[left] << " " << ordered[right];
        }
    }
    EXPECT_EQ(ComparePaths("Data/Sky", "dATA/sKY"), 0);
}

/// A solution of two random projects.
class ContentListTest : public testing::TestWithParam<uint32>
{
protected:
    ContentListTest() : mRandom(GetParam())
    {
        RandomReleases releases(mTree, mRandom);
        FileContents shared = mRandom.Make(10);
        for (const char *project : {"a", "b"})
        {
            shared = mRandom.Change(shared);
            releases.Pack(project, shared, RandomReleases::First + 1);
        }
        releases.WriteSolution({"a", "b"});
    }

    View Open()
    {
        auto view = mTrees.Open("", mTree.Path("MORV/solutions/suite/releases/0.0.1.0"));
        EXPECT_TRUE(view) << (view ? "" : view.GetFault().GetMessage());
        return *view;
    }

    /// Two layers may have one path as a directory and as a file. A lookup finds one of them.
    static void AddBelow(const View &view, const std::string &directory, std::set<std::string> &paths)
    {
        const auto iterator = view.Enumerate(directory);
        for (; iterator != nullptr && iterator->IsValid(); iterator->Next())
        {
            const std::string path = (directory.empty() ? "" : directory + "/") + iterator->GetCurrent().GetName();
            paths.insert(TreeReader::FoldPath(path));
            if (iterator->GetCurrent().IsDirectory())
            {
                AddBelow(view, path, paths);
            }
        }
    }

    /// Each item is what a lookup gives, and there are no others.
    static void ExpectTrue(const View &view, const ContentList &list)
    {
        for (const ContentItem &item : list.GetItems())
        {
            const std::string path(list.GetPath(item));
            const Hit hit = view.Find(path);
            EXPECT_TRUE(hit.layer == item.layer && hit.entry == item.entry) << path;
        }
        std::set<std::string> paths;
        AddBelow(view, "", paths);
        EXPECT_EQ(list.GetItems().size(), paths.size());
    }

    TempTree mTree;
    RandomTree mRandom;
    TreeReader::TreeSet mTrees;
};

TEST_P(ContentListTest, HoldsWhatAProgramFinds)
{
    const View view = Open();
    ExpectTrue(view, ContentList::OfView(view, ContentList::Files::Listed));
}

TEST_P(ContentListTest, WithoutTheFilesThatAreMissingWhereThoseThatArePresentAreWanted)
{
    for (const auto &entry : fs::recursive_directory_iterator(mTree.Path("MORV/projects")))
    {
        const std::string name = entry.path().filename();
        if (entry.is_regular_file() && name != "releasemanifest" && mRandom.Below(3) == 0)
        {
            fs::remove(entry.path());
        }
    }
    const View view = Open();
    ExpectTrue(view, ContentList::OfView(view, ContentList::Files::Present));
}

INSTANTIATE_TEST_SUITE_P(Seeds, ContentListTest, testing::Range(0u, 6u));
} // namespace
} // namespace Keld::Test
