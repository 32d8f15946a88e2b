#include "KeldMorvIO/archive/PathTable.h"

#include "KeldFoundation/CStd/Hash.h"
#include "KeldMorvIO/archive/AdoptedArchives.h"
#include "KeldMorvIO/archive/PathHash.h"
#include "Support/ArchiveImage.h"

#include <gtest/gtest.h>

#include <random>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
namespace
{
using Keld::Test::ArchiveImage;

class PathTableTest : public AdoptedArchives
{
protected:
    static Answer AskTable(const PathTable &table, const std::string &path)
    {
        Answer answer;
        GivenPath given(path);
        answer.archive =
            table.Find(given, HashName(path.c_str()), HashWholePath(path.c_str()), answer.offset, answer.size);
        return answer.archive != nullptr ? answer : Answer();
    }
};

TEST_F(PathTableTest, GivesWhatAskingEachArchiveGives)
{
    std::mt19937 random(3);
    const auto pick = [&random]
    {
        static const char *const parts[] = {"a", "B", "/", "data/", "Long", "name-of-eight", "\xC3\xA4", "", "x/y"};
        std::string path;
        for (auto count = random() % 5; count != 0; --count)
        {
            path += parts[random() % std::size(parts)];
        }
        return path.empty() ? "none" : path;
    };
    for (int archive = 0; archive < 4; ++archive)
    {
        ArchiveImage image;
        for (uint32 file = 0; file < 200; ++file)
        {
            image.File(pick(), static_cast<uint32>(random()), archive == 1 ? 0 : 1);
        }
        Adopt(image.Bytes());
    }
    const PathTable table(mAsked);
    ASSERT_TRUE(table.IsKnown());
    uint32 foundCount = 0;
    for (uint32 question = 0; question < 2000; ++question)
    {
        const std::string path = pick();
        ASSERT_EQ(AskEach(path), AskTable(table, path)) << path;
        foundCount += AskEach(path).archive != nullptr ? 1u : 0u;
    }
    EXPECT_GT(foundCount, 100u);
    EXPECT_LT(foundCount, 1900u);
}

TEST_F(PathTableTest, FetchingAheadChangesNoAnswer)
{
    Adopt(ArchiveImage().File("a", 1, 2).File("b/c", 3, 4).Bytes());
    const PathTable table(mAsked);
    std::vector<uint32> hashes(40, HashWholePath("b/c"));
    hashes.front() = HashWholePath("none");
    table.FetchAhead(hashes);
    table.FetchAhead({});
    EXPECT_EQ((Answer{mAsked[0], 3, 4}), AskTable(table, "B/C"));
    EXPECT_EQ(Answer(), AskTable(table, "none"));
}

TEST_F(PathTableTest, KnowsNothingOfAnIndexThatIsNotSortedAsItShouldBe)
{
    const ArchiveImage whole = ArchiveImage().File("a", 1, 2).File("b", 3, 4);
    for (const auto &[offset, word] : {std::pair<std::size_t, uint32>{ArchiveImage::RecordOffset(0), 0x0FFFFFFF},
                                       {ArchiveImage::RecordOffset(0) + 12, ArchivePathOfSearchedName},
                                       {ArchiveImage::RecordOffset(1) + 12, 7}})
    {
        Forget();
        Adopt(whole.Bytes());
        EXPECT_TRUE(PathTable(mAsked).IsKnown());
        Adopt(whole.Image().Word(offset, word).Bytes());
        EXPECT_FALSE(PathTable(mAsked).IsKnown());
    }
}

TEST_F(PathTableTest, KnowsNothingWhereNamesOfOneHashAreOutOfOrder)
{
    // "aq" and "ba" have one hash.
    ASSERT_EQ(HashName("aq"), HashName("ba"));
    const ArchiveImage image = ArchiveImage().File("aq", 1, 2).File("ba", 3, 4);
    Adopt(image.Bytes());
    EXPECT_TRUE(PathTable(mAsked).IsKnown());
    Forget();
    Adopt(
        image.Image().Word(ArchiveImage::RecordOffset(0) + 12, 1).Word(ArchiveImage::RecordOffset(1) + 12, 0).Bytes());
    EXPECT_FALSE(PathTable(mAsked).IsKnown());
}

TEST_F(PathTableTest, ReadsNoMorePathsThanTheFileHasBytes)
{
    // Many records share one path, so that to read it for each would take as long as their product.
    ArchiveImage image;
    image.File(std::string(1000, 'p'), 0, 1);
    for (uint32 file = 1; file < 100; ++file)
    {
        image.File(std::string(1000, 'p'), file, 1);
    }
    Keld::Test::ByteImage shared = image.Image();
    Adopt(shared.Bytes());
    EXPECT_TRUE(PathTable(mAsked).IsKnown());
    Forget();
    ArchiveImage few;
    few.File(std::string(8000, 'p'), 0, 1);
    for (uint32 file = 1; file < 50; ++file)
    {
        few.File("p", file, 1);
    }
    shared = few.Image();
    for (std::size_t record = 0; record < 50; ++record)
    {
        shared.Word(ArchiveImage::RecordOffset(record), ArchiveImage::FileListOffset);
        shared.Word(ArchiveImage::RecordOffset(record) + 12, 0);
    }
    Adopt(shared.Bytes());
    EXPECT_FALSE(PathTable(mAsked).IsKnown());
}

TEST_F(PathTableTest, KnowsNothingWhereTooManyRecordsShareOneHome)
{
    const auto repeat = [this](uint32 count)
    {
        ArchiveImage image;
        for (uint32 file = 0; file < count; ++file)
        {
            image.File("always/the/same", file, 1);
        }
        Forget();
        Adopt(image.Bytes());
    };
    repeat(2000);
    const PathTable table(mAsked);
    ASSERT_TRUE(table.IsKnown());
    EXPECT_EQ(AskEach("always/the/same"), AskTable(table, "always/the/same"));
    EXPECT_EQ(Answer(), AskTable(table, "another"));
    repeat(3000);
    EXPECT_FALSE(PathTable(mAsked).IsKnown());
}

TEST_F(PathTableTest, KnowsNothingWithoutRecords)
{
    EXPECT_FALSE(PathTable(mAsked).IsKnown());
    Adopt(ArchiveImage().Bytes());
    EXPECT_FALSE(PathTable(mAsked).IsKnown());
}

TEST(PathHashTest, IsTheSameInEitherCaseAndForTheParts)
{
    const std::string path = "Content/Area001/ZZ-AA@[`{/Texture\xC1\xDA 12.DDS";
    std::string lower = path;
    for (char &character : lower)
    {
        character = FoldCase(character);
    }
    for (std::size_t begin = 0; begin < path.size(); ++begin)
    {
        const std::string part = path.substr(begin);
        EXPECT_EQ(HashWholePath(lower.c_str() + begin), HashWholePath(part.c_str()));
        const std::size_t name = part.rfind('/') + 1;
        EXPECT_EQ(HashWholePath(part.c_str()), JoinPathHashes(HashPathPart(part.data(), name),
                                                              HashPathPart(part.data() + name, part.size() - name)));
    }
}

TEST(PathHashTest, TellsPathsApartThatHashNameDoesNot)
{
    std::vector<uint32> hashes;
    for (uint32 directory = 0; directory < 200; ++directory)
    {
        hashes.push_back(HashWholePath(("area" + std::to_string(1000 + directory) + "/texture.dds").c_str()));
    }
    std::sort(hashes.begin(), hashes.end());
    EXPECT_EQ(hashes.end(), std::adjacent_find(hashes.begin(), hashes.end()));
}
} // namespace
} // namespace Keld::MORV::Reader
