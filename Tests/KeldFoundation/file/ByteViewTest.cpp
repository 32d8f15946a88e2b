#include "KeldFoundation/file/ByteView.h"

#include "KeldFoundation/file/LittleEndian.h"

#include <gtest/gtest.h>

#include <cstring>
#include <limits>
#include <string>

namespace Keld
{
namespace
{
constexpr uint_size Huge = std::numeric_limits<uint_size>::max();

struct Pair
{
    Little32 first;
    Little32 second;
};

ByteView View(const std::string &bytes)
{
    return ByteView(bytes.data(), bytes.size());
}

TEST(ByteViewTest, ReadsWordsLowestByteFirstAtAnyAddress)
{
    const std::string bytes("\xAA\x01\x02\x03\x84\xFF\xFF\xFF\xFF", 9);
    const Little32 *const word = View(bytes).At<Little32>(1);
    ASSERT_NE(nullptr, word);
    EXPECT_EQ(0x84030201u, uint32{*word});
    EXPECT_EQ(0xFFFFFFFFu, uint32{*View(bytes).At<Little32>(5)});
}

TEST(ByteViewTest, WritesWordsLowestByteFirst)
{
    const Little32 word = 0x84030201u;
    EXPECT_EQ(0, std::memcmp(&word, "\x01\x02\x03\x84", 4));
}

TEST(ByteViewTest, ARecordMustFitWhole)
{
    const std::string bytes(9, 'x');
    EXPECT_NE(nullptr, View(bytes).At<Pair>(1));
    EXPECT_EQ(nullptr, View(bytes).At<Pair>(2));
    EXPECT_EQ(nullptr, View(bytes).At<Pair>(9));
    EXPECT_EQ(nullptr, View(bytes).At<Pair>(10));
    EXPECT_EQ(nullptr, View(bytes).At<Pair>(Huge));
}

TEST(ByteViewTest, ACountThatWouldWrapIsRefused)
{
    const std::string bytes(16, 'x');
    EXPECT_NE(nullptr, View(bytes).Records<Pair>(0, 2));
    EXPECT_EQ(nullptr, View(bytes).Records<Pair>(0, 3));
    EXPECT_EQ(nullptr, View(bytes).Records<Pair>(1, 2));
    EXPECT_EQ(nullptr, View(bytes).Records<Pair>(0, Huge / sizeof(Pair) + 2)); // 8 bytes, as a product
    EXPECT_EQ(nullptr, View(bytes).Records<Pair>(Huge, Huge));
}

TEST(ByteViewTest, NoRecordsFitUpToTheEnd)
{
    const std::string bytes(8, 'x');
    EXPECT_EQ(bytes.data() + 8, reinterpret_cast<const char *>(View(bytes).Records<Pair>(8, 0)));
    EXPECT_EQ(nullptr, View(bytes).Records<Pair>(9, 0));
}

TEST(ByteViewTest, ATextMustEndInside)
{
    const std::string bytes("ab\0cd", 5);
    EXPECT_STREQ("ab", View(bytes).Text(0));
    EXPECT_STREQ("", View(bytes).Text(2));
    EXPECT_EQ(nullptr, View(bytes).Text(3));
    EXPECT_EQ(nullptr, View(bytes).Text(5));
    EXPECT_EQ(nullptr, View(bytes).Text(Huge));
}

TEST(ByteViewTest, ATextMustFitWithItsNul)
{
    const std::string bytes("xabc\0", 5);
    EXPECT_STREQ("abc", View(bytes).Text(1, 4));
    EXPECT_EQ(nullptr, View(bytes).Text(1, 3));
    EXPECT_EQ(nullptr, View(bytes).Text(4, 0));
}

TEST(ByteViewTest, TextsThatBeginBeforeTheLastNulEndInside)
{
    EXPECT_EQ(3u, View(std::string("ab\0cd", 5)).TextEnd());
    EXPECT_EQ(5u, View(std::string("ab\0c\0", 5)).TextEnd());
    EXPECT_EQ(0u, View("abcd").TextEnd());
}

TEST(ByteViewTest, AnEmptyViewHoldsNothing)
{
    const ByteView view;
    EXPECT_EQ(0u, view.GetSize());
    EXPECT_EQ(nullptr, view.At<Little32>(0));
    EXPECT_EQ(nullptr, view.Text(0));
    EXPECT_EQ(0u, view.TextEnd());
}
} // namespace
} // namespace Keld
