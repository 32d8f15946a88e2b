// Sorted directories against the plain sort that stands for them, names that differ only by case included.

#include "KeldMorvIO/listing/NameSort.h"

#include "KeldFoundation/CStd/CStd.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
struct Record
{
    uint32 nameIndex;
    uint32 number;

    bool operator==(const Record &) const = default;
};

/// What std::sort makes of the records themselves.
std::vector<Record> SortPlainly(std::vector<Record> records, const NameOrder &names, NameSort sort)
{
    if (sort == NameSort::Ascending)
    {
        std::sort(records.begin(), records.end(),
                  [&names](const Record &lhs, const Record &rhs)
                  {
                      return names.ComesBefore(lhs.nameIndex, rhs.nameIndex);
                  });
        return records;
    }
    std::sort(records.begin(), records.end(),
              [&names](const Record &lhs, const Record &rhs)
              {
                  return names.ComesBefore(rhs.nameIndex, lhs.nameIndex);
              });
    std::reverse(records.begin(), records.end());
    return records;
}

class NameSortTest : public testing::Test
{
protected:
    uint32 Below(uint_size limit) { return static_cast<uint32>(mRandom() % limit); }

    /// From few letters, some beyond ASCII, behind one of few beginnings.
    std::string AnyName()
    {
        static const std::vector<std::string> beginnings = {"", "Texture", "texture", std::string(61, 'x'),
                                                            std::string(70, 'X')};
        std::string name = beginnings[Below(mBeginningCount)];
        const uint32 length = Below(12);
        for (uint32 index = 0; index < length; ++index)
        {
            name += "aAbB_09\xC3\xE4"[Below(9)];
        }
        return name;
    }

    void MakeNames(uint32 count)
    {
        mBeginningCount = 1 + Below(5);
        mNames.clear();
        for (uint32 index = 0; index < count; ++index)
        {
            mNames.push_back(AnyName());
        }
        mStrings.clear();
        for (const std::string &name : mNames)
        {
            mStrings.push_back(name.c_str());
        }
    }

    void ExpectThePlainOrder(const std::vector<Record> &records)
    {
        const NameOrder names(mStrings);
        for (const NameSort sort : {NameSort::Ascending, NameSort::ReversedDescending})
        {
            std::vector<Record> sorted = records;
            SortByName(names, sorted.data(), static_cast<uint32>(sorted.size()), sort);
            ASSERT_EQ(SortPlainly(records, names, sort), sorted);
        }
    }

    std::mt19937 mRandom{1};
    uint32 mBeginningCount = 1;
    std::vector<std::string> mNames;
    std::vector<const char *> mStrings;
};

TEST_F(NameSortTest, LeavesRecordsWhereAPlainSortLeavesThem)
{
    for (uint32 round = 0; round < 300; ++round)
    {
        SCOPED_TRACE(round);
        MakeNames(1 + Below(round % 10 == 0 ? 500 : 40));
        std::vector<Record> records;
        const uint32 count = 2 + Below(round % 10 == 0 ? 500 : 40);
        for (uint32 number = 0; number < count; ++number)
        {
            records.push_back({Below(mStrings.size()), number});
        }
        ExpectThePlainOrder(records);
    }
}

TEST_F(NameSortTest, LeavesSortedRecordsWhereAPlainSortLeavesThemAlsoWithEqualNames)
{
    for (uint32 round = 0; round < 100; ++round)
    {
        SCOPED_TRACE(round);
        MakeNames(2 + Below(60));
        std::vector<Record> records;
        for (uint32 number = 0; number < mStrings.size(); ++number)
        {
            records.push_back({number, number});
        }
        std::stable_sort(records.begin(), records.end(),
                         [this](const Record &lhs, const Record &rhs)
                         {
                             return std_stricmp(mStrings[lhs.nameIndex], mStrings[rhs.nameIndex]) < 0;
                         });
        ExpectThePlainOrder(records);
    }
}

TEST_F(NameSortTest, TellsApartNamesThatDifferFarBehindTheirStart)
{
    for (const uint32 length : {7u, 8u, 9u, 55u, 56u, 63u, 64u, 65u, 100u})
    {
        mNames = {std::string(length, 'n') + "b", std::string(length, 'N') + "a", std::string(length, 'n')};
        mStrings = {mNames[0].c_str(), mNames[1].c_str(), mNames[2].c_str()};
        const NameOrder names(mStrings);
        EXPECT_EQ((std::vector<uint32>{2, 1, 0}), SortNames(names, {0, 1, 2}, NameSort::Ascending)) << length;
        EXPECT_EQ((std::vector<uint32>{2, 1, 0}), SortNames(names, {0, 1, 2}, NameSort::ReversedDescending)) << length;
    }
}

TEST_F(NameSortTest, NoNamesHaveNoOrder)
{
    EXPECT_TRUE(SortNames(NameOrder(mStrings), {}, NameSort::Ascending).empty());
}
} // namespace
} // namespace Keld::MORV::Reader
