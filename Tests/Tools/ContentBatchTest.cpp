#include "Support/CompressedStream.h"
#include "Tools/OpenedRelease.h"

#include "Tools/TreeReader/ContentBatch.h"

#include <gtest/gtest.h>

#include <filesystem>

namespace Keld::Test
{
namespace
{
using TreeReader::Compression;
using TreeReader::ContentBatch;
using TreeReader::FaultKind;
using TreeReader::Storage;

class ContentBatchTest : public OpenedRelease
{
protected:
    void Pack(Storage storage, Compression compression)
    {
        for (std::size_t number = 0; number < mContents.size(); ++number)
        {
            mContents[number] = PatternedBytes(number * number * 200, static_cast<std::uint32_t>(number));
            mTree.Write("source/" + std::to_string(number), mContents[number]);
        }
        TreeWriter::PackRequest request = Request(storage, compression);
        request.compressAlways = true;
        TreeWriter::PackRelease(request);
    }

    TreeReader::Failure Add(const TreeReader::View &view, std::size_t number)
    {
        const TreeReader::EntryIndex file = view.Find(std::to_string(number)).entry;
        const auto stored = view.GetRelease(0).Locate(file);
        return mBatch.Add(view.GetRelease(0), file, *stored);
    }

    /// As many as the batch has after that.
    std::size_t AddAll(const TreeReader::View &view)
    {
        for (std::size_t number = 0; number < mContents.size(); ++number)
        {
            EXPECT_FALSE(Add(view, number)) << number;
        }
        return mBatch.GetCount();
    }

    std::vector<std::string> mContents = std::vector<std::string>(40);
    ContentBatch mBatch;
};

TEST_F(ContentBatchTest, HoldsTheContentsAndFindsTheirDigestsRight)
{
    for (const auto compression : {Compression::None, Compression::Zlib, Compression::Lzma})
    {
        std::filesystem::remove_all(mTree.Path("MORV"));
        Pack(Storage::Archive, compression);
        const TreeReader::View view = Open();
        ASSERT_EQ(AddAll(view), mContents.size());
        EXPECT_EQ(mBatch.Check(), std::vector<bool>(mContents.size(), true));
        for (std::size_t number = 0; number < mContents.size(); ++number)
        {
            EXPECT_TRUE(mBatch.GetContent(number) == mContents[number]) << number;
        }
        mBatch.Clear();
        EXPECT_EQ(mBatch.GetCount(), 0u);
        EXPECT_TRUE(mBatch.Check().empty());
    }
}

TEST_F(ContentBatchTest, FindsTheOneContentThatIsNotWhatWasPacked)
{
    Pack(Storage::Naked, Compression::None);
    FlipByte("MORV/projects/game/releases/1.0.0.0/deploy/17", 3);
    const TreeReader::View view = Open();
    ASSERT_EQ(AddAll(view), mContents.size());
    std::vector<bool> expected(mContents.size(), true);
    expected[17] = false;
    EXPECT_EQ(mBatch.Check(), expected);
}

TEST_F(ContentBatchTest, AFileThatCannotBeReadLeavesTheBatchAsItWas)
{
    Pack(Storage::Naked, Compression::None);
    const TreeReader::View view = Open();
    EXPECT_FALSE(Add(view, 5));
    std::filesystem::resize_file(mTree.Path("MORV/projects/game/releases/1.0.0.0/deploy/39"), 200'000);
    const TreeReader::Failure failure = Add(view, 39);
    ASSERT_TRUE(failure);
    EXPECT_EQ(failure->kind, FaultKind::EndsEarly);
    EXPECT_FALSE(Add(view, 6));
    ASSERT_EQ(mBatch.GetCount(), 2u);
    EXPECT_TRUE(mBatch.GetContent(1) == mContents[6]);
    EXPECT_EQ(mBatch.Check(), std::vector<bool>(2, true));
}

TEST_F(ContentBatchTest, IsFullOfManyContentsOrOfManyBytes)
{
    Pack(Storage::Archive, Compression::Zlib);
    const TreeReader::View view = Open();
    for (std::size_t number = 0; number < 10; ++number)
    {
        EXPECT_FALSE(Add(view, number));
    }
    EXPECT_FALSE(mBatch.IsFull());
    AddAll(view);
    EXPECT_FALSE(mBatch.IsFull()) << "too few for all lanes";
    AddAll(view);
    EXPECT_TRUE(mBatch.IsFull());
    mBatch.Clear();
    EXPECT_FALSE(mBatch.IsFull());
}

// The decoder that is faster needs the content in one piece; beyond a certain size there is none.
TEST_F(ContentBatchTest, ZlibFilesAreReadInOnePieceOrInManyWithTheSameBytes)
{
    constexpr std::size_t mostAtOnce = std::size_t{16} << 20;
    for (const std::size_t size : {mostAtOnce, mostAtOnce + 1})
    {
        mTree.Write("source/" + std::to_string(size), PatternedBytes(size, 7));
    }
    TreeWriter::PackRelease(Request(Storage::Archive, Compression::Zlib));
    const TreeReader::View view = Open();
    for (const std::size_t size : {mostAtOnce, mostAtOnce + 1})
    {
        EXPECT_TRUE(Content(view, std::to_string(size)) == PatternedBytes(size, 7)) << size;
        EXPECT_FALSE(mFailure);
    }
}
} // namespace
} // namespace Keld::Test
