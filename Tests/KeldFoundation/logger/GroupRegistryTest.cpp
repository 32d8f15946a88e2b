#include "KeldFoundation/logger/GroupRegistry.h"

#include <gtest/gtest.h>

#include <string>

namespace Keld::Test
{
namespace
{
using Logger::GroupRegistry;

class GroupRegistryTest : public ::testing::Test
{
protected:
    std::string Names(uint64 mask) const
    {
        char buffer[512];
        const char *const end = mGroups.FormatNames(buffer, sizeof buffer, mask);
        EXPECT_EQ(*end, '\0');
        EXPECT_EQ(end, buffer + std::char_traits<char>::length(buffer));
        return buffer;
    }

    /// As many tags as there is room for behind the first eight.
    void FillUp()
    {
        for (int index = 8; index < 64; ++index)
        {
            mGroups.Register(Tag(index).c_str());
        }
    }

    static std::string Tag(int index) { return "a" + std::to_string(index); }

    GroupRegistry mGroups;
};

TEST_F(GroupRegistryTest, KnowsTheEightBuiltInTags)
{
    EXPECT_EQ(mGroups.Register("DBG"), 1u);
    EXPECT_EQ(mGroups.Register("GEN"), 2u);
    EXPECT_EQ(mGroups.Register("XTR"), 4u);
    EXPECT_EQ(mGroups.Register("PRF"), 8u);
    EXPECT_EQ(mGroups.Register("MEM"), 16u);
    EXPECT_EQ(mGroups.Register("DSK"), 32u);
    EXPECT_EQ(mGroups.Register("NET"), 64u);
    EXPECT_EQ(mGroups.Register("TST"), 128u);
    EXPECT_EQ(Names(0xFF), "DBG;GEN;XTR;PRF;MEM;DSK;NET;TST");
}

TEST_F(GroupRegistryTest, GivesTheFirstNewTagBitEight)
{
    EXPECT_EQ(mGroups.Register("MRV"), 0x100u);
    EXPECT_EQ(mGroups.Register("ABC"), 0x200u);
}

TEST_F(GroupRegistryTest, GivesATagTheSameMaskAgain)
{
    EXPECT_EQ(mGroups.Register("MRV"), mGroups.Register("MRV"));
}

TEST_F(GroupRegistryTest, MatchesAndStoresThreeCharactersOnly)
{
    EXPECT_EQ(mGroups.Register("MRVEL"), 0x100u);
    EXPECT_EQ(mGroups.Register("MRV"), 0x100u);
    EXPECT_EQ(mGroups.Register("DBGX"), 1u);
    EXPECT_EQ(Names(0x100), "MRV");
}

TEST_F(GroupRegistryTest, DistinguishesCase)
{
    EXPECT_EQ(mGroups.Register("dbg"), 0x100u);
}

TEST_F(GroupRegistryTest, TakesShortTagsAsTheyAre)
{
    EXPECT_EQ(mGroups.Register("M"), 0x100u);
    EXPECT_EQ(mGroups.Register("M"), 0x100u);
    EXPECT_EQ(mGroups.Register("MR"), 0x200u);
    EXPECT_EQ(Names(0x300), "M;MR");
}

TEST_F(GroupRegistryTest, DoesNotFindTagsBeyondTheHighestIndexInUse)
{
    EXPECT_EQ(mGroups.Register("???"), 0x100u);
}

TEST_F(GroupRegistryTest, PutsBitsFrom32OnIntoTheHighWord)
{
    for (int index = 8; index < 64; ++index)
    {
        EXPECT_EQ(mGroups.Register(Tag(index).c_str()), static_cast<uint64>(1) << index) << index;
    }
    EXPECT_EQ(Names(0x8000'0001'8000'0000), "a31;a32;a63");
}

TEST_F(GroupRegistryTest, RefusesATagTooMany)
{
    FillUp();
    for (int attempt = 0; attempt < 300; ++attempt)
    {
        EXPECT_EQ(mGroups.Register("new"), 0u);
    }
    EXPECT_EQ(mGroups.Register("DBG"), 1u);
    EXPECT_EQ(mGroups.Register("a63"), static_cast<uint64>(1) << 63);
}

TEST_F(GroupRegistryTest, RefusesANullTag)
{
    EXPECT_EQ(mGroups.Register(nullptr), 0u);
    EXPECT_EQ(mGroups.Register("MRV"), 0x100u);
}

TEST_F(GroupRegistryTest, PrintsUnregisteredGroupsAsQuestionMarks)
{
    EXPECT_EQ(Names(0x101), "DBG;???");
    EXPECT_EQ(Names(static_cast<uint64>(1) << 63), "???");
}

TEST_F(GroupRegistryTest, PrintsTheTagsOfAMaskInAscendingOrder)
{
    mGroups.Register("MRV");
    EXPECT_EQ(Names(0x101), "DBG;MRV");
    EXPECT_EQ(Names(0), "");
}

TEST_F(GroupRegistryTest, CutsWhatDoesNotFit)
{
    struct Row
    {
        uint_size size;
        const char *text;
    };
    // A separator is written as long as there are two bytes of room, with as much of the tag behind it as then fits.
    for (const Row &row : {Row{1, ""}, Row{2, "D"}, Row{3, "DB"}, Row{4, "DBG"}, Row{5, "DBG;"}, Row{6, "DBG;G"},
                           Row{7, "DBG;GE"}, Row{8, "DBG;GEN"}, Row{9, "DBG;GEN"}})
    {
        SCOPED_TRACE(row.size);
        std::string buffer(row.size + 1, '!');
        const char *const end = mGroups.FormatNames(buffer.data(), row.size, 3);
        EXPECT_STREQ(buffer.c_str(), row.text);
        EXPECT_EQ(*end, '\0');
        EXPECT_EQ(buffer.back(), '!');
    }
}

TEST_F(GroupRegistryTest, WritesNothingIntoABufferWithoutSize)
{
    char byte = '!';
    EXPECT_EQ(mGroups.FormatNames(&byte, 0, 1), &byte);
    EXPECT_EQ(byte, '!');
}
} // namespace
} // namespace Keld::Test
