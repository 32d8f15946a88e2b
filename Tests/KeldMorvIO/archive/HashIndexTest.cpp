#include "KeldMorvIO/archive/HashIndex.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
std::vector<ArchiveFileEntry> RecordsOf(const std::vector<uint32> &hashes)
{
    std::vector<ArchiveFileEntry> records(hashes.size());
    for (uint_size index = 0; index < hashes.size(); ++index)
    {
        records[index].hash = hashes[index];
    }
    return records;
}

TEST(HashIndexTest, GivesTheRowOfEveryHashAndNothingForOthers)
{
    std::mt19937 random(2);
    for (const uint32 width : {1u, 4u, 28u, 32u})
    {
        for (const uint_size count : {1u, 2u, 3u, 17u, 500u})
        {
            std::vector<uint32> hashes(count);
            std::generate(hashes.begin(), hashes.end(),
                          [&random, width]
                          {
                              return static_cast<uint32>(random()) >> (32 - width);
                          });
            std::sort(hashes.begin(), hashes.end());
            const std::vector<ArchiveFileEntry> records = RecordsOf(hashes);
            HashIndex index;
            index.Build(records.data(), static_cast<uint32>(count));
            std::vector<uint32> asked = hashes;
            asked.insert(asked.end(), {0, 1, hashes.front() - 1, hashes.back() + 1, 0x7FFFFFFF, 0xFFFFFFFF});
            for (const uint32 hash : asked)
            {
                const auto [first, end] = std::equal_range(hashes.begin(), hashes.end(), hash);
                const HashIndex::Range range = index.Find(hash);
                ASSERT_EQ(end - first, static_cast<std::ptrdiff_t>(range.end - range.first)) << hash;
                ASSERT_TRUE(first == end || first - hashes.begin() == static_cast<std::ptrdiff_t>(range.first)) << hash;
            }
        }
    }
}

TEST(HashIndexTest, ManyHashesOfOneTopAreSearchedInHalves)
{
    std::vector<uint32> hashes;
    for (uint32 hash = 0; hash < 1000; ++hash)
    {
        hashes.insert(hashes.end(), {hash, hash});
    }
    hashes.push_back(0xF0000000);
    const std::vector<ArchiveFileEntry> records = RecordsOf(hashes);
    HashIndex index;
    index.Build(records.data(), static_cast<uint32>(hashes.size()));
    for (uint32 hash = 0; hash < 1000; ++hash)
    {
        const HashIndex::Range range = index.Find(hash);
        ASSERT_EQ(2 * hash, range.first);
        ASSERT_EQ(2 * hash + 2, range.end);
    }
}

TEST(HashIndexTest, RecordsInNoOrderMayAllHaveTheHash)
{
    const std::vector<ArchiveFileEntry> records = RecordsOf({1, 3, 2});
    HashIndex index;
    index.Build(records.data(), 3);
    EXPECT_EQ(0u, index.Find(7).first);
    EXPECT_EQ(3u, index.Find(7).end);
}

TEST(HashIndexTest, WithoutRecordsThereIsNothing)
{
    HashIndex index;
    EXPECT_EQ(index.Find(0).first, index.Find(0).end);
    index.Build(nullptr, 0);
    EXPECT_EQ(index.Find(1).first, index.Find(1).end);
}
} // namespace
} // namespace Keld::MORV::Reader
