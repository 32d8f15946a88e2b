#include "KeldMorvIO/archive/SortedPaths.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/archive/AdoptedArchives.h"
#include "Support/ArchiveImage.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
using Keld::Test::ArchiveImage;

class SortedPathsTest : public AdoptedArchives
{
protected:
    /// An archive of the paths in the order in which they are given, with places of one byte one behind the other.
    void AdoptPaths(const std::vector<std::string> &paths)
    {
        ArchiveImage image;
        for (const std::string &path : paths)
        {
            image.File(path, mNextOffset, 1);
            ++mNextOffset;
        }
        Adopt(image.Bytes());
    }

    bool IsKnown() const { return SortedPaths(mAsked).IsKnown(); }

    static Answer AskSorted(const SortedPaths &paths, const std::string &path)
    {
        Answer answer;
        answer.archive = paths.Find(path, HashName(path.c_str()), answer.offset, answer.size);
        return answer.archive != nullptr ? answer : Answer();
    }

private:
    uint32 mNextOffset = 1;
};

std::string FoldedText(std::string text)
{
    std::transform(text.begin(), text.end(), text.begin(), FoldCase);
    return text;
}

bool IsPathBefore(const std::string &left, const std::string &right)
{
    return FoldedText(left) < FoldedText(right);
}

TEST_F(SortedPathsTest, GivesWhatAskingEachArchiveGivesInWhateverOrderIsAsked)
{
    std::mt19937 random(7);
    const auto pick = [&random]
    {
        static const char *const parts[] = {"a", "B", "/", "data/", "Long", "name-of-eight", "\xC3\xA4", "x/y", "["};
        std::string path;
        for (auto count = 1 + random() % 5; count != 0; --count)
        {
            path += parts[random() % std::size(parts)];
        }
        return path;
    };
    std::vector<std::string> paths;
    std::generate_n(std::back_inserter(paths), 700, pick);
    std::sort(paths.begin(), paths.end(), IsPathBefore);
    const auto isSame = [](const std::string &left, const std::string &right)
    {
        return FoldedText(left) == FoldedText(right);
    };
    paths.erase(std::unique(paths.begin(), paths.end(), isSame), paths.end());
    ASSERT_GT(paths.size(), 200u);
    const auto part = static_cast<std::ptrdiff_t>(paths.size() / 3);
    AdoptPaths({paths.begin() + 2 * part, paths.end()}); // in no order among each other
    AdoptPaths({paths.begin(), paths.begin() + part});
    AdoptPaths({paths.begin() + part, paths.begin() + 2 * part});
    const SortedPaths sorted(mAsked);
    ASSERT_TRUE(sorted.IsKnown());
    for (const std::string &path : paths)
    {
        ASSERT_EQ(AskEach(path), AskSorted(sorted, path)) << path;
        ASSERT_NE(nullptr, AskSorted(sorted, path).archive) << path;
    }
    uint32 foundCount = 0;
    for (uint32 question = 0; question < 2000; ++question)
    {
        const std::string path = pick();
        ASSERT_EQ(AskEach(path), AskSorted(sorted, path)) << path;
        foundCount += AskEach(path).archive != nullptr ? 1u : 0u;
    }
    EXPECT_GT(foundCount, 100u);
    EXPECT_LT(foundCount, 1900u);
}

TEST_F(SortedPathsTest, KnowsNothingOfPathsThatDoNotAscend)
{
    AdoptPaths({"a", "B", "c"});
    EXPECT_TRUE(IsKnown());
    Forget();
    AdoptPaths({"B", "a", "c"});
    EXPECT_FALSE(IsKnown());
}

TEST_F(SortedPathsTest, KnowsNothingOfAPathThatStandsTwice)
{
    AdoptPaths({"a", "A"});
    EXPECT_FALSE(IsKnown());
    Forget();
    AdoptPaths({"a", "b"});
    AdoptPaths({"B", "c"});
    EXPECT_FALSE(IsKnown());
}

TEST_F(SortedPathsTest, KnowsNothingOfArchivesWhosePathsInterlock)
{
    AdoptPaths({"a", "c"});
    AdoptPaths({"b"});
    EXPECT_FALSE(IsKnown());
}

TEST_F(SortedPathsTest, KnowsNothingOfAnIndexThatIsNotSortedAsItShouldBe)
{
    // "aq" and "ba" have one hash, and "z" another.
    ASSERT_EQ(HashName("aq"), HashName("ba"));
    const ArchiveImage whole = ArchiveImage().File("aq", 1, 2).File("ba", 3, 4).File("z", 5, 6);
    Adopt(whole.Bytes());
    EXPECT_TRUE(IsKnown());
    Forget();
    const auto recordOf = [](std::size_t record)
    {
        return ArchiveImage::RecordOffset(record);
    };
    const uint32 pathWord = 12;
    // "z" is the first record, as its hash is the least.
    ASSERT_LT(HashName("z"), HashName("aq"));
    for (const auto &[offset, word] :
         {std::pair<std::size_t, uint32>{recordOf(0), 0x0FFFFFFF}, // a hash behind those that follow
          {recordOf(0) + pathWord, ArchivePathOfSearchedName},     // no path of its own
          {recordOf(0) + pathWord, 3},                             // a path behind the list
          {recordOf(0) + pathWord, 1}})                            // another record's path
    {
        SCOPED_TRACE(word);
        Adopt(whole.Image().Word(offset, word).Bytes());
        EXPECT_FALSE(IsKnown());
        Forget();
    }
    Adopt(whole.Image().Word(recordOf(1) + pathWord, 1).Word(recordOf(2) + pathWord, 0).Bytes());
    EXPECT_FALSE(IsKnown()); // names of one hash out of order
}

TEST_F(SortedPathsTest, ARecordOfAnotherHashThanItsPathsIsNotFound)
{
    const ArchiveImage whole = ArchiveImage().File("a", 1, 2).File("b", 3, 4);
    Adopt(whole.Image().Word(ArchiveImage::RecordOffset(1), HashName("b") + 1).Bytes());
    const SortedPaths sorted(mAsked);
    ASSERT_TRUE(sorted.IsKnown());
    EXPECT_EQ(Answer(), AskEach("b"));
    EXPECT_EQ(Answer(), AskSorted(sorted, "b"));
    EXPECT_EQ((Answer{mAsked[0], 1, 2}), AskSorted(sorted, "A"));
}

TEST_F(SortedPathsTest, NothingIsFoundWhereSizesAddUpToNone)
{
    Adopt(ArchiveImage().File("a", 1, 0).Bytes());
    const SortedPaths sorted(mAsked);
    ASSERT_TRUE(sorted.IsKnown());
    EXPECT_EQ(AskEach("a"), AskSorted(sorted, "a"));
    EXPECT_EQ(Answer(), AskSorted(sorted, "a"));
}

TEST_F(SortedPathsTest, ReadsNoMorePathsThanTheFileHasBytes)
{
    // Each path is the tail of the one behind it, so that to read all takes as long as the square of their number.
    const std::string longest(600, 'p');
    ArchiveImage image;
    for (std::size_t length = 1; length <= longest.size(); ++length)
    {
        image.File(std::string(length, 'p'), 1, 1);
    }
    Adopt(image.Bytes());
    EXPECT_TRUE(IsKnown());
    Forget();
    ArchiveImage few;
    few.File(longest, 1, 1);
    for (std::size_t length = 2; length <= longest.size(); ++length)
    {
        few.File("p", 1, 1);
    }
    Keld::Test::ByteImage shared = few.Image();
    const std::size_t longestAt = few.PathOffset(longest.size()) - few.PathListOffset();
    for (std::size_t path = 0; path < longest.size(); ++path)
    {
        shared.Word(few.PathOffset(path), static_cast<uint32>(longestAt + longest.size() - 1 - path));
        shared.Word(ArchiveImage::RecordOffset(path), 0);
        shared.Word(ArchiveImage::RecordOffset(path) + 12, static_cast<uint32>(path));
    }
    Adopt(shared.Bytes());
    EXPECT_STREQ("p", mAsked[0]->GetPath(0));
    EXPECT_EQ(longest, mAsked[0]->GetPath(599));
    EXPECT_FALSE(IsKnown());
}

TEST_F(SortedPathsTest, KnowsNothingOfPathsThatNoCallCanAskFor)
{
    AdoptPaths({"a", std::string(PathBufferSize - 1, 'b')});
    EXPECT_TRUE(IsKnown());
    Forget();
    AdoptPaths({"a", std::string(PathBufferSize, 'b')});
    EXPECT_FALSE(IsKnown());
}

TEST_F(SortedPathsTest, KnowsNothingWithoutRecords)
{
    EXPECT_FALSE(IsKnown());
    Adopt(ArchiveImage().Bytes());
    EXPECT_FALSE(IsKnown());
    AdoptPaths({"a"});
    EXPECT_FALSE(IsKnown());
}
} // namespace
} // namespace Keld::MORV::Reader
