// An archive's search against the plain binary search that it stands for, over indexes in every kind of order.

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/archive/ArchiveFileFixture.h"

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
using Test::ByteImage;

struct SearchedRecord
{
    uint32 hash;
    uint32 pathIndex;
};

const std::vector<std::string> Paths = {"", "a", "A", "b", "data/a", "DATA/a", "data/b", "z"};
const std::vector<const char *> SearchedNames = {nullptr, "", "a", "A", "aa", "b", "B", "data/A", "data/c", "z", "zz"};

int CompareWithKey(const SearchedRecord &record, uint32 hash, const char *name)
{
    if (record.hash != hash)
    {
        return record.hash < hash ? -1 : 1;
    }
    if (record.pathIndex == ArchivePathOfSearchedName)
    {
        return 0;
    }
    const char *const path = record.pathIndex < Paths.size() ? Paths[record.pathIndex].c_str() : nullptr;
    return std_stricmp(path, name);
}

int32 FindByBinarySearch(const std::vector<SearchedRecord> &records, uint32 hash, const char *name)
{
    uint_size first = 0;
    uint_size end = records.size();
    while (first < end)
    {
        const uint_size middle = (first + end) / 2;
        if (CompareWithKey(records[middle], hash, name) < 0)
        {
            first = middle + 1;
        }
        else
        {
            end = middle;
        }
    }
    const bool found = first < records.size() && CompareWithKey(records[first], hash, name) == 0;
    return found ? static_cast<int32>(first) : -1;
}

enum class Order
{
    ByKey,
    ByHash,
    AlmostByHash,
    None
};

class ArchiveSearchTest : public Test::ArchiveFileFixture
{
protected:
    uint32 Below(uint_size limit) { return static_cast<uint32>(mRandom() % limit); }

    /// Few or many to a hash, near each other and far apart.
    uint32 AnyHash(uint32 hashCount)
    {
        const uint32 number = Below(hashCount);
        return number % 3 == 0 ? number : number * 0x9E3779B1u;
    }

    uint32 AnyPathIndex()
    {
        const uint32 kind = Below(20);
        if (kind < 2)
        {
            return kind == 0 ? ArchivePathOfSearchedName : ArchivePathOfSearchedName - 1;
        }
        return Below(Paths.size() + 1);
    }

    std::vector<SearchedRecord> AnyRecords(uint32 count, uint32 hashCount, Order order)
    {
        std::vector<SearchedRecord> records;
        for (uint32 index = 0; index < count; ++index)
        {
            records.push_back({AnyHash(hashCount), AnyPathIndex()});
        }
        if (order == Order::ByKey)
        {
            std::sort(records.begin(), records.end(),
                      [](const SearchedRecord &left, const SearchedRecord &right)
                      {
                          const char *const path =
                              right.pathIndex < Paths.size() ? Paths[right.pathIndex].c_str() : nullptr;
                          return path != nullptr && CompareWithKey(left, right.hash, path) < 0;
                      });
        }
        else if (order != Order::None)
        {
            std::sort(records.begin(), records.end(),
                      [](const SearchedRecord &left, const SearchedRecord &right)
                      {
                          return left.hash < right.hash;
                      });
        }
        if (order == Order::AlmostByHash && count > 1)
        {
            std::swap(records[Below(count)], records[Below(count)]);
        }
        return records;
    }

    ArchiveFile &LoadRecords(const std::vector<SearchedRecord> &records)
    {
        ByteImage image;
        image.Word(0, 0x18BE0EF0).Word(4, 1).Word(12, 20);
        const auto count = static_cast<uint32>(records.size());
        const uint32 pathList = 24 + 16 * count;
        image.Word(16, pathList).Word(20, count);
        for (uint32 index = 0; index < count; ++index)
        {
            const uint32 offset = 24 + 16 * index;
            image.Word(offset, records[index].hash).Word(offset + 4, index).Word(offset + 8, 1);
            image.Word(offset + 12, records[index].pathIndex);
        }
        auto text = static_cast<uint32>(8 + 8 * Paths.size());
        image.Word(pathList, 0).Word(pathList + 4, static_cast<uint32>(Paths.size()));
        for (uint32 index = 0; index < Paths.size(); ++index)
        {
            image.Word(pathList + 8 + 8 * index, text).Word(pathList + 12 + 8 * index, 0);
            image.Text(pathList + text, Paths[index]);
            text += static_cast<uint32>(Paths[index].size() + 1);
        }
        return Load(image.Bytes());
    }

    void ExpectTheAnswersOfABinarySearch(const std::vector<SearchedRecord> &records, uint32 hashCount)
    {
        const ArchiveFile &archive = LoadRecords(records);
        for (uint32 number = 0; number < hashCount + 3; ++number)
        {
            for (const uint32 hash : {number, number * 0x9E3779B1u, 0xFFFFFFFF - number})
            {
                for (const char *const name : SearchedNames)
                {
                    ASSERT_EQ(FindByBinarySearch(records, hash, name), archive.FindEntryIndex(hash, name))
                        << "hash " << hash << " name " << (name != nullptr ? name : "null");
                }
            }
        }
    }

    std::mt19937 mRandom{1};
};

TEST_F(ArchiveSearchTest, AnswersLikeABinarySearchWhateverTheOrderOfTheRecords)
{
    for (const Order order : {Order::ByKey, Order::ByHash, Order::AlmostByHash, Order::None})
    {
        for (uint32 round = 0; round < 60; ++round)
        {
            const uint32 count = Below(round % 4 == 0 ? 200 : 20);
            const uint32 hashCount = 1 + Below(round % 3 == 0 ? 3 : 40);
            SCOPED_TRACE(testing::Message() << "order " << static_cast<int>(order) << " round " << round);
            ExpectTheAnswersOfABinarySearch(AnyRecords(count, hashCount, order), hashCount);
        }
    }
}

TEST_F(ArchiveSearchTest, ARecordThatTheHalvingPassesByIsNotFound)
{
    const std::vector<SearchedRecord> records = {{5, 1}, {1, 1}, {6, 1}, {7, 1}, {8, 1}};
    const ArchiveFile &archive = LoadRecords(records);
    EXPECT_EQ(-1, archive.FindEntryIndex(5, "a")); // the 1 sends the search to the right
    EXPECT_EQ(-1, archive.FindEntryIndex(1, "a")); // the 5 in front ends it
    EXPECT_EQ(2, archive.FindEntryIndex(6, "a"));
}
} // namespace
} // namespace Keld::MORV::Reader
