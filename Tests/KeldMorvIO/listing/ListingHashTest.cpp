#include "KeldFoundation/CStd/Hash.h"
#include "ListingTree.h"
#include "Support/ReaderLogCapture.h"

#include <set>

namespace Keld::MORV::Reader
{
namespace
{
using namespace Keld::Test;
using FileEntry = ProjectListing::FileEntry;

class ListingHashTest : public testing::Test
{
protected:
    ReaderLogCapture mLog;
    ListingTree mTree;
};

TEST_F(ListingHashTest, MakesAsManyBucketsAsEntriesForAFew)
{
    mTree.Naked("a.txt", "A");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_EQ(listing->GetHeader().mBucketCount, 2u);
}

TEST_F(ListingHashTest, CountsBucketsWithoutTheDroppedFiles)
{
    for (int index = 0; index < 15; ++index)
    {
        mTree.Naked("kept" + std::to_string(index), "K").Absent("lost" + std::to_string(index));
    }
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_EQ(listing->GetHeader().mFileCount, 15u);
    EXPECT_EQ(listing->GetHeader().mBucketCount, 14u); // 16 entries
    EXPECT_EQ(ChainOf(*listing).size(), 16u);
}

TEST_F(ListingHashTest, PutsEveryEntryIntoTheBucketOfItsPathOnce)
{
    for (int index = 0; index < 40; ++index)
    {
        const std::string directory = "Dir" + std::to_string(index % 7) + "/sub\xC3\xA4" + std::to_string(index % 3);
        mTree.Naked(directory + "/File" + std::to_string(index), "x");
    }
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    const ListingHeader &header = listing->GetHeader();
    const std::vector<const FileEntry *> chain = ChainOf(*listing);
    EXPECT_EQ(chain.size(), header.mDirectoryCount + header.mFileCount);
    EXPECT_EQ(std::set<const FileEntry *>(chain.begin(), chain.end()).size(), chain.size());
    for (uint32 index = 0; index < header.mBucketCount; ++index)
    {
        for (const HashSlot &slot : listing->GetBucket(index))
        {
            const std::string path = ProjectListing::GetFilePath(slot.mEntry);
            EXPECT_EQ(slot.mHash, HashPathLower(path.c_str())) << path;
            EXPECT_EQ(slot.mHash % header.mBucketCount, index) << path;
        }
    }
}

TEST_F(ListingHashTest, FindsTheLongestPathsThatCanBeAskedFor)
{
    // No file system has so long a name: the file lies in an archive, which has nothing of it but a text.
    const std::string name(1023, 'n');
    const std::string longer(1024, 'n');
    mTree.Archived(name, "1").Archived("dir/" + name.substr(4), "2").Archived(longer, "3").Archived(longer + "x", "4");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    for (const std::string &path : {name, "DIR/" + name.substr(4)})
    {
        const FileEntry *const entry = listing->FindEntry(path.c_str());
        ASSERT_NE(entry, nullptr);
        EXPECT_EQ(GetListingEntry(entry).mName.Get(), path.substr(path.find('/') + 1));
    }
    EXPECT_EQ(ChainOf(*listing).size(), 6u);
    EXPECT_EQ(NamesIn(listing->FindEntry("")), (std::vector<std::string>{"dir/", name, longer, longer + "x"}));
}

TEST_F(ListingHashTest, KeepsADirectoryWhoseNameIsLongerThanAnyPath)
{
    const std::string name(20000, 'n');
    mTree.Naked("a.txt", "A").Absent(name + "/b/c.txt");
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    EXPECT_EQ(NamesIn(listing->FindEntry("")), (std::vector<std::string>{name + "/", "a.txt"}));
    EXPECT_EQ(ChainOf(*listing).size(), 4u);
    EXPECT_EQ(listing->FindEntry(name.substr(0, 1023).c_str()), nullptr);
}

TEST_F(ListingHashTest, KeepsOneChainInARow)
{
    for (int index = 0; index < 30; ++index)
    {
        mTree.Naked("file" + std::to_string(index), "x");
    }
    const auto listing = mTree.Load();
    ASSERT_NE(listing, nullptr);
    const HashSlot *next = listing->GetSlots().data();
    for (uint32 index = 0; index < listing->GetHeader().mBucketCount; ++index)
    {
        const std::span<const HashSlot> bucket = listing->GetBucket(index);
        EXPECT_EQ(bucket.data(), next);
        next = bucket.data() + bucket.size();
    }
    EXPECT_EQ(next, listing->GetSlots().data() + listing->GetSlots().size());
}
} // namespace
} // namespace Keld::MORV::Reader
