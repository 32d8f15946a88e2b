#include "KeldMorvIO/listing/ListingLayout.h"
#include "KeldMorvIO/listing/ProjectListing.h"

#include <gtest/gtest.h>

#include <limits>
#include <set>

namespace Keld::MORV::Reader
{
namespace
{
ListingCounts Counts(uint32 directories, uint32 archived, uint32 managed, uint32 naked, uint32 stringSize)
{
    const uint32 files = archived + managed + naked;
    return {directories, files, ComputeBucketCount(directories + files), {archived, managed, naked}, stringSize};
}

TEST(ListingLayout, HasRecordsOfTheKnownSizes)
{
    EXPECT_EQ(sizeof(ListingHeader), 20u);
    EXPECT_EQ(sizeof(HashBucket), 4u);
    EXPECT_EQ(sizeof(HashSlot), 8u);
    EXPECT_EQ(sizeof(DirectoryEntry), 24u);
    EXPECT_EQ(sizeof(ProjectListing::FileEntry), 36u);
    EXPECT_EQ(sizeof(ProjectListing::FileHandleHeader), 12u);
    EXPECT_EQ(sizeof(ProjectListing::FileInfo), 8u);
    EXPECT_EQ(sizeof(ProjectListing::ArchiveFile), 32u);
}

TEST(ListingLayout, PutsOneRegionBehindTheOther)
{
    ListingLayout layout{};
    ASSERT_TRUE(ComputeListingLayout(Counts(2, 3, 4, 5, 17), layout));
    // 14 entries, hence 13 buckets, and one record more for the end of the last.
    EXPECT_EQ(layout.mBuckets, 20u);
    EXPECT_EQ(layout.mChain, 20u + 14 * 4);
    EXPECT_EQ(layout.mOwner, 76u + 14 * 8 + 4);
    EXPECT_EQ(layout.mDirectories, 192u + 8);
    EXPECT_EQ(layout.mFiles, 200u + 2 * 24);
    EXPECT_EQ(layout.mFileHandleHeader, 248u + 12 * 36);
    EXPECT_EQ(layout.mArchiveFiles, 680u + 16);
    EXPECT_EQ(layout.mManagedFiles, 696u + 3 * 32);
    EXPECT_EQ(layout.mNakedFiles, 792u + 4 * 8);
    EXPECT_EQ(layout.mStrings, 824u + 5 * 8);
    EXPECT_EQ(layout.mSize, 864u + 17);
}

TEST(ListingLayout, AlignsTheArchiveRecordsBehindTheHandleHeader)
{
    std::set<uint_size> distances;
    for (uint32 directories = 1; directories < 5; ++directories)
    {
        ListingLayout layout{};
        ASSERT_TRUE(ComputeListingLayout(Counts(directories, directories, 0, 0, 1), layout));
        EXPECT_EQ(layout.mArchiveFiles % alignof(ProjectListing::ArchiveFile), 0u);
        distances.insert(layout.mArchiveFiles - layout.mFileHandleHeader);
    }
    EXPECT_EQ(distances, (std::set<uint_size>{12, 16}));
}

TEST(ListingLayout, RoundsOnlyWhereARecordNeedsIt)
{
    ListingLayout layout{};
    ASSERT_TRUE(ComputeListingLayout(Counts(1, 0, 0, 1, 0), layout));
    EXPECT_EQ(layout.mStrings, layout.mNakedFiles + 8);
    EXPECT_EQ(layout.mSize, layout.mStrings);
}

TEST(ListingLayout, LeavesNothingBetweenTheOwnerSlotAndTheRoot)
{
    for (uint32 directories = 1; directories < 40; ++directories)
    {
        ListingLayout layout{};
        ASSERT_TRUE(ComputeListingLayout(Counts(directories, directories % 3, directories % 5, 1, 3), layout));
        EXPECT_EQ(layout.mOwner + sizeof(void *), layout.mDirectories) << directories;
    }
}

TEST(ListingLayout, RefusesStringsThatReachPastTheLimit)
{
    ListingLayout layout{};
    ASSERT_TRUE(ComputeListingLayout(Counts(1, 0, 0, 1, 0), layout));
    const auto room = static_cast<uint32>(ListingSizeLimit - layout.mSize);
    EXPECT_TRUE(ComputeListingLayout(Counts(1, 0, 0, 1, room), layout));
    EXPECT_EQ(layout.mSize, ListingSizeLimit);
    EXPECT_FALSE(ComputeListingLayout(Counts(1, 0, 0, 1, room + 1), layout));
    EXPECT_FALSE(ComputeListingLayout(Counts(1, 0, 0, 1, 0xFFFFFFFF), layout));
}

TEST(ListingLayout, RefusesEachRegionThatReachesPastTheLimit)
{
    constexpr uint32 most = std::numeric_limits<uint32>::max();
    constexpr uint32 justTooMany = 0x80000000u / sizeof(DirectoryEntry) + 1;
    ListingLayout layout{};
    EXPECT_FALSE(ComputeListingLayout({1, 1, most, {0, 0, 1}, 0}, layout)) << "buckets";
    EXPECT_FALSE(ComputeListingLayout({most, 1, 1, {0, 0, 1}, 0}, layout)) << "directories";
    EXPECT_FALSE(ComputeListingLayout({1, most, 1, {0, 0, 1}, 0}, layout)) << "files";
    EXPECT_FALSE(ComputeListingLayout({1, 1, 1, {most, 0, 0}, 0}, layout)) << "archived";
    EXPECT_FALSE(ComputeListingLayout({1, 1, 1, {0, most, 0}, 0}, layout)) << "managed";
    EXPECT_FALSE(ComputeListingLayout({1, 1, 1, {0, 0, most}, 0}, layout)) << "naked";
    EXPECT_FALSE(ComputeListingLayout({justTooMany, 1, 1, {0, 0, 1}, 0}, layout)) << "just too many directories";
    EXPECT_FALSE(ComputeListingLayout({most, most, most, {most, most, most}, most}, layout)) << "everything";
}

TEST(ListingLayout, MakesSevenEighthsOfTheEntriesBucketsRoundedUp)
{
    EXPECT_EQ(ComputeBucketCount(2), 2u);
    EXPECT_EQ(ComputeBucketCount(7), 7u);
    EXPECT_EQ(ComputeBucketCount(8), 7u);
    EXPECT_EQ(ComputeBucketCount(9), 8u);
    EXPECT_EQ(ComputeBucketCount(16), 14u);
    EXPECT_EQ(ComputeBucketCount(1000), 875u);
    EXPECT_EQ(ComputeBucketCount(1001), 876u);
}

TEST(ListingLayout, GivesTheRegionsOfABlock)
{
    ListingLayout layout{};
    ASSERT_TRUE(ComputeListingLayout(Counts(2, 3, 4, 5, 17), layout));
    std::vector<char> block(layout.mSize);
    const ListingRegions regions(block.data(), layout);
    const auto offsetOf = [&block](const void *region)
    {
        return static_cast<uint_size>(static_cast<const char *>(region) - block.data());
    };
    EXPECT_EQ(offsetOf(regions.mHeader), 0u);
    EXPECT_EQ(offsetOf(regions.mBuckets), layout.mBuckets);
    EXPECT_EQ(offsetOf(regions.mChain), layout.mChain);
    EXPECT_EQ(offsetOf(regions.mOwner), layout.mOwner);
    EXPECT_EQ(offsetOf(regions.mDirectories), layout.mDirectories);
    EXPECT_EQ(offsetOf(regions.mFiles), layout.mFiles);
    EXPECT_EQ(offsetOf(regions.mFileHandleHeader), layout.mFileHandleHeader);
    EXPECT_EQ(offsetOf(regions.mArchiveFiles), layout.mArchiveFiles);
    EXPECT_EQ(offsetOf(regions.mManagedFiles), layout.mManagedFiles);
    EXPECT_EQ(offsetOf(regions.mNakedFiles), layout.mNakedFiles);
    EXPECT_EQ(offsetOf(regions.mStrings), layout.mStrings);
}
} // namespace
} // namespace Keld::MORV::Reader
