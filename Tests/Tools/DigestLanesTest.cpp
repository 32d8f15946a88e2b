#include "Tools/RandomTree.h"

#include "Tools/TreeReader/ContentDigest.h"
#include "Tools/TreeReader/DigestLanes.h"

#include <gtest/gtest.h>

namespace Keld::Test
{
namespace
{
void ExpectDigests(const std::vector<std::string> &contents)
{
    const std::vector<std::string_view> views(contents.begin(), contents.end());
    const std::vector<TreeReader::Digest> digests = TreeReader::DigestsOf(views);
    ASSERT_EQ(digests.size(), contents.size());
    for (std::size_t index = 0; index < contents.size(); ++index)
    {
        EXPECT_EQ(TreeReader::DigestText(digests[index]), TreeReader::DigestText(TreeReader::DigestOf(contents[index])))
            << contents.size() << " contents, number " << index << " of " << contents[index].size() << " bytes";
    }
}

TEST(DigestLanesTest, ContentsOfEveryLengthAroundTheBlocksHaveTheirDigests)
{
    RandomTree random(1);
    for (std::size_t count = 0; count < 20; ++count)
    {
        std::vector<std::string> contents(count);
        for (std::string &content : contents)
        {
            content.resize(random.Below(260));
            for (char &byte : content)
            {
                byte = static_cast<char>(random.Below(256));
            }
        }
        ExpectDigests(contents);
    }
    std::vector<std::string> lengths;
    for (std::size_t length = 0; length < 200; ++length)
    {
        lengths.emplace_back(length, static_cast<char>(length));
    }
    ExpectDigests(lengths);
}

TEST(DigestLanesTest, OneLongContentAmongShortOnesHasItsDigest)
{
    RandomTree random(2);
    std::vector<std::string> contents;
    contents.reserve(26);
    for (int number = 0; number < 25; ++number)
    {
        contents.push_back(random.MakeContent());
    }
    contents.emplace_back((5 << 20) + 3, 'x');
    ExpectDigests(contents);
}
} // namespace
} // namespace Keld::Test
