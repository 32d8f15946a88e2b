#include "KeldMorvIO/environment/MultiListingIterator.h"

#include "KeldMorvIO/environment/RuntimeEnvironment.h"
#include "Support/ReaderLogCapture.h"
#include "Support/TestTree.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
using namespace MORV::Reader;

using Names = std::vector<std::string>;

class MultiListingIteratorTest : public testing::Test
{
protected:
    MultiListingIteratorTest()
    {
        const std::string directory =
            mTree.Project("atlas", "1.0.0.0", {{"full/b", "b"}, {"full/a/x", "x"}, {"hollow/"}, {"other/c", "c"}});
        mEnvironment.reset(RuntimeEnvironment::Create(directory.c_str()));
    }

    std::unique_ptr<ProjectListing::DirectoryIterator> Walk(const char *path) const
    {
        return std::make_unique<ProjectListing::DirectoryIterator>(mEnvironment->FindEntry(path).second);
    }

    static Names Rest(MultiListingIterator &iterator)
    {
        Names names;
        for (; iterator.IsValid(); iterator.Next())
        {
            names.push_back(iterator.GetCurrent().GetName());
        }
        return names;
    }

    TestTree mTree;
    ReaderLogCapture mLog;
    std::unique_ptr<RuntimeEnvironment> mEnvironment;
};

TEST_F(MultiListingIteratorTest, StandsOnItsFirstEntryFromTheStart)
{
    MultiListingIterator::DirectoryIterators iterators;
    iterators.push_back(Walk("full"));
    MultiListingIterator iterator(std::move(iterators));
    ASSERT_TRUE(iterator.IsValid());
    EXPECT_STREQ(iterator.GetCurrent().GetName(), "a");
    EXPECT_TRUE(iterator.Next());
    EXPECT_STREQ(iterator.GetCurrent().GetName(), "b");
    EXPECT_FALSE(iterator.Next());
    EXPECT_FALSE(iterator.IsValid());
    EXPECT_FALSE(iterator.Next());
}

TEST_F(MultiListingIteratorTest, DropsIteratorsThatAreNullOrHaveNothing)
{
    MultiListingIterator::DirectoryIterators iterators;
    iterators.push_back(nullptr);
    iterators.push_back(Walk("hollow"));
    iterators.push_back(Walk("other"));
    iterators.push_back(Walk("full/b")); // a file has no children
    iterators.push_back(nullptr);
    iterators.push_back(Walk("full"));
    iterators.push_back(Walk("hollow"));
    MultiListingIterator iterator(std::move(iterators));
    // The first that is left stands on a file, which competes with the subdirectory of the second.
    EXPECT_EQ(Rest(iterator), Names({"a", "b", "c"}));
}

TEST_F(MultiListingIteratorTest, IsAtItsEndWithoutAnyEntry)
{
    MultiListingIterator::DirectoryIterators iterators;
    iterators.push_back(Walk("hollow"));
    iterators.push_back(nullptr);
    MultiListingIterator iterator(std::move(iterators));
    EXPECT_FALSE(iterator.IsValid());
    EXPECT_FALSE(iterator.Next());

    MultiListingIterator none{MultiListingIterator::DirectoryIterators()};
    EXPECT_FALSE(none.IsValid());
}

TEST_F(MultiListingIteratorTest, IsMadeForExistingDirectoriesOnly)
{
    EXPECT_NE(mEnvironment->CreateDirectoryIterator(""), nullptr);
    EXPECT_NE(mEnvironment->CreateDirectoryIterator("full"), nullptr);
    ASSERT_NE(mEnvironment->CreateDirectoryIterator("hollow"), nullptr);
    EXPECT_FALSE(mEnvironment->CreateDirectoryIterator("hollow")->IsValid());
    EXPECT_EQ(mEnvironment->CreateDirectoryIterator("full/b"), nullptr);
    EXPECT_EQ(mEnvironment->CreateDirectoryIterator("nothing"), nullptr);
    EXPECT_EQ(mEnvironment->CreateDirectoryIterator("/full"), nullptr);
}
} // namespace
} // namespace Keld::Test
