#include "KeldMorvIO/listing/EntryHashes.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/listing/ParsedManifest.h"
#include "Support/ManifestImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>

namespace Keld::MORV::Reader
{
namespace
{
using Keld::Test::ManifestImage;

struct HashTable
{
    uint32 bucketCount;
    LargeVector<HashedEntry> entries;
};

HashTable HashTableOf(const ManifestImage &image, uint_size missingCount = 0)
{
    HashTable table;
    table.bucketCount = HashEntries(*Keld::Test::ParseManifest(image.Bytes()), missingCount, table.entries);
    return table;
}

/// The indices in the order that sorting by bucket has always made.
std::vector<uint32> SortedIndices(const HashTable &table)
{
    std::vector<std::pair<uint32, uint32>> pairs(table.entries.size());
    for (const HashedEntry &entry : table.entries)
    {
        pairs[entry.index] = {entry.hash % table.bucketCount, entry.index};
    }
    std::sort(pairs.begin(), pairs.end(),
              [](const auto &left, const auto &right)
              {
                  return left.first < right.first;
              });
    std::vector<uint32> indices;
    indices.reserve(pairs.size());
    for (const auto &[bucket, index] : pairs)
    {
        indices.push_back(index);
    }
    return indices;
}

std::vector<uint32> IndicesOf(const HashTable &table)
{
    std::vector<uint32> indices;
    for (const HashedEntry &entry : table.entries)
    {
        indices.push_back(entry.index);
    }
    return indices;
}

ManifestImage ManyFiles(uint32 count)
{
    ManifestImage image;
    for (uint32 file = 0; file < count; ++file)
    {
        image.File("area" + std::to_string(file / 40) + "/texture" + std::to_string(file % 40) + ".dds");
    }
    return image;
}

TEST(EntryHashesTest, GroupsTheHashesOfAllPathsByBucket)
{
    const ManifestImage image = ManyFiles(1000);
    for (const uint_size missingCount : {0u, 1u, 500u})
    {
        const HashTable table = HashTableOf(image, missingCount);
        const uint32 kept = static_cast<uint32>(table.entries.size() - missingCount);
        EXPECT_EQ(kept - kept / 8, table.bucketCount);
        std::vector<uint32> indices = IndicesOf(table);
        std::sort(indices.begin(), indices.end());
        uint32 lastBucket = 0;
        for (uint32 place = 0; place < table.entries.size(); ++place)
        {
            EXPECT_EQ(place, indices[place]);
            EXPECT_LE(lastBucket, table.entries[place].hash % table.bucketCount);
            lastBucket = table.entries[place].hash % table.bucketCount;
        }
    }
}

TEST(EntryHashesTest, PathsThatDifferInCaseStandAsSortingLeavesThem)
{
    for (const uint32 count : {10u, 100u, 1000u})
    {
        ManifestImage image = ManyFiles(count);
        image.File("Area0/TEXTURE1.dds").File("area0/texture1.DDS");
        const HashTable table = HashTableOf(image);
        EXPECT_EQ(SortedIndices(table), IndicesOf(table)) << count;
    }
}

TEST(EntryHashesTest, PathsMadeUpOfOtherNamesStandAsSortingLeavesThem)
{
    ManifestImage image = ManyFiles(1000);
    image.File("one/two");
    const uint32 file = image.FileIndex("one/two");
    ManifestImage odd = ManyFiles(1000);
    odd.File("one/two").File("one!two");
    std::string bytes = odd.Bytes();
    bytes[bytes.find("one!two") + 3] = '/'; // a name with a separator in it
    HashTable table;
    table.bucketCount = HashEntries(*Keld::Test::ParseManifest(bytes), 0, table.entries);
    EXPECT_EQ(SortedIndices(table), IndicesOf(table));
    EXPECT_LT(file, table.entries.size());
}

TEST(EntryHashesTest, EntriesWithoutAPathStandAsSortingLeavesThem)
{
    ManifestImage named = ManyFiles(1000);
    named.RootName("root");
    const HashTable table = HashTableOf(named);
    EXPECT_EQ(SortedIndices(table), IndicesOf(table));

    ManifestImage orphans = ManyFiles(1000);
    orphans.Patch(orphans.DirectoryOffset("area3") + 16, 1); // one file, the others are nobody's
    const HashTable orphanTable = HashTableOf(orphans);
    EXPECT_EQ(SortedIndices(orphanTable), IndicesOf(orphanTable));
}

TEST(EntryHashesTest, ManyEntriesOfOneHugeNameStandAsSortingLeavesThem)
{
    ManifestImage image;
    for (uint32 file = 0; file < 200; ++file)
    {
        image.File(std::string(1100, 'n') + std::to_string(file));
    }
    const HashTable table = HashTableOf(image);
    EXPECT_EQ(SortedIndices(table), IndicesOf(table));
}
} // namespace
} // namespace Keld::MORV::Reader
