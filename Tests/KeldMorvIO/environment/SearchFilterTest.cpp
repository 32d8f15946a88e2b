#include "KeldMorvIO/environment/SearchFilter.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/listing/ListingTree.h"
#include "Support/ReaderLogCapture.h"

#include <gtest/gtest.h>

#include <memory>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
using namespace Keld::Test;

/// Listings of 50 files each: "shared/<n>" in all of them, and "only<listing>/<n>".
class SearchFilterTest : public testing::Test
{
protected:
    void MakeListings(uint32 count)
    {
        for (uint32 index = 0; index < count; ++index)
        {
            ListingTree tree;
            for (uint32 file = 0; file < 25; ++file)
            {
                const std::string number = std::to_string(file);
                tree.Archived("shared/" + number, "S").Archived(OwnDirectory(index) + "/" + number, "O");
            }
            mOwned.push_back(tree.Load());
            mListings.push_back(mOwned.back().get());
        }
    }

    static std::string OwnDirectory(uint32 listing) { return "only" + std::to_string(listing); }

    ReaderLogCapture mLog;
    std::vector<std::unique_ptr<ProjectListing>> mOwned;
    std::vector<ProjectListing *> mListings;
};

TEST_F(SearchFilterTest, NeverMissesAListingThatHoldsThePath)
{
    MakeListings(11); // more than there are groups
    const SearchFilter filter(mListings);
    for (uint32 index = 0; index < mListings.size(); ++index)
    {
        for (const HashSlot &slot : mListings[index]->GetSlots())
        {
            EXPECT_TRUE(filter.Find(slot.mHash).Has(index)) << index;
        }
    }
}

TEST_F(SearchFilterTest, KeepsMostPathsAwayFromListingsWithoutThem)
{
    MakeListings(8);
    const SearchFilter filter(mListings);
    uint32 letThrough = 0;
    for (uint32 path = 0; path < 1000; ++path)
    {
        const SearchFilter::Candidates candidates =
            filter.Find(HashPathLower(("absent/" + std::to_string(path)).c_str()));
        for (uint32 index = 0; index < mListings.size(); ++index)
        {
            letThrough += candidates.Has(index) ? 1u : 0u;
        }
    }
    EXPECT_LT(letThrough, 1000u); // of 8,000
}

TEST_F(SearchFilterTest, AsksEveryListingWhenThereIsOneOrNone)
{
    EXPECT_TRUE(SearchFilter(std::vector<ProjectListing *>()).Find(1).Has(0));
    MakeListings(1);
    EXPECT_TRUE(SearchFilter(mListings).Find(HashPathLower("absent")).Has(0));
}

TEST_F(SearchFilterTest, AlwaysAsksAListingInWhichHashesDoNotDecide)
{
    MakeListings(2);
    ListingTree tree;
    tree.Naked("a.txt", "A");
    tree.Manifest().RootName("root");
    const std::unique_ptr<ProjectListing> named = tree.Load();
    ASSERT_NE(named, nullptr);
    mListings.push_back(named.get());
    const SearchFilter filter(mListings);
    for (uint32 hash = 0; hash < 100; ++hash)
    {
        EXPECT_TRUE(filter.Find(hash).Has(2)) << hash;
    }
}
} // namespace
} // namespace Keld::MORV::Reader
