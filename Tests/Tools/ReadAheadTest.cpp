#include "Support/CompressedStream.h"
#include "Tools/OpenedRelease.h"

#include "Tools/TreeMount/MountedFiles.h"

#include <gtest/gtest.h>

#include <atomic>
#include <thread>

namespace Keld::Test
{
namespace
{
using TreeMount::DecodedFiles;
using TreeMount::ReadingOrder;
using TreeReader::Compression;
using TreeReader::EntryIndex;
using TreeReader::EntryRange;
using TreeReader::Fault;
using TreeReader::FaultKind;
using TreeReader::Hit;
using TreeReader::Storage;

std::vector<EntryIndex> TakeAllNext(ReadingOrder &order)
{
    std::vector<EntryIndex> entries;
    while (const Hit next = order.TakeNext())
    {
        entries.push_back(next.entry);
    }
    return entries;
}

std::vector<EntryIndex> Entries(EntryIndex begin, EntryIndex end)
{
    std::vector<EntryIndex> entries;
    for (EntryIndex entry = begin; entry < end; ++entry)
    {
        entries.push_back(entry);
    }
    return entries;
}

constexpr EntryRange Siblings{100, 30};

TEST(ReadingOrderTest, TheFirstFileOfADirectoryIsFollowedByAFew)
{
    ReadingOrder order;
    EXPECT_TRUE(order.BeginAhead({0, 100}, Siblings));
    EXPECT_EQ(TakeAllNext(order), Entries(101, 109));
    EXPECT_TRUE(order.BeginAhead({0, 101}, Siblings));
    EXPECT_EQ(TakeAllNext(order), Entries(109, 110)) << "the others were worked on already";
}

TEST(ReadingOrderTest, AFileInTheMiddleIsFollowedByNoneUntilTheNextOneIsReadToo)
{
    ReadingOrder order;
    EXPECT_FALSE(order.BeginAhead({0, 110}, Siblings));
    EXPECT_TRUE(order.BeginAhead({0, 111}, Siblings));
    EXPECT_EQ(TakeAllNext(order), Entries(112, 120));
    EXPECT_FALSE(order.BeginAhead({0, 105}, Siblings));
    EXPECT_FALSE(order.BeginAhead({1, 106}, Siblings)) << "of another layer";
}

TEST(ReadingOrderTest, NothingFollowsTheLastFileOfADirectory)
{
    ReadingOrder order;
    order.BeginAhead({0, 127}, Siblings);
    EXPECT_TRUE(order.BeginAhead({0, 128}, Siblings));
    EXPECT_EQ(TakeAllNext(order), Entries(129, 130));
    EXPECT_TRUE(order.BeginAhead({0, 129}, Siblings));
    EXPECT_TRUE(TakeAllNext(order).empty());
}

TEST(ReadingOrderTest, OneWorksAheadAndGoesOnAsLongAsReadersFollow)
{
    ReadingOrder order;
    EXPECT_TRUE(order.BeginAhead({0, 100}, Siblings));
    EXPECT_EQ(order.TakeNext().entry, 101U);
    EXPECT_FALSE(order.BeginAhead({0, 101}, Siblings)) << "somebody works already";
    EXPECT_EQ(TakeAllNext(order), Entries(102, 110));
    EXPECT_TRUE(order.BeginAhead({0, 102}, Siblings));
    EXPECT_FALSE(order.BeginAhead({0, 125}, Siblings));
    EXPECT_TRUE(TakeAllNext(order).empty()) << "the reader is elsewhere";
}

class PrepareTest : public testing::Test
{
protected:
    DecodedFiles::Decode Decode(uint64 size)
    {
        return [this, size](const TreeReader::ContentSink &sink) -> TreeReader::Failure
        {
            ++mDecodings;
            sink(std::string(size, 'x'));
            return std::nullopt;
        };
    }

    uint64 Take(DecodedFiles::Key key, uint64 size, bool isLasting)
    {
        uint64 taken = 0;
        mFiles.Take({key, size, isLasting}, Decode(size),
                    [&taken](const TreeReader::Result<DecodedFiles::Content> &content)
                    {
                        taken = content ? (*content)->GetSize() : 0;
                    });
        return taken;
    }

    DecodedFiles mFiles{100};
    int mDecodings = 0;
};

TEST_F(PrepareTest, WhatWasPreparedIsTakenWithoutDecodingAndThenGivenUp)
{
    mFiles.Prepare(1, 40, Decode(40));
    mFiles.Prepare(1, 40, Decode(40));
    EXPECT_EQ(mFiles.GetUsedMemory(), 40U);
    EXPECT_EQ(Take(1, 40, false), 40U);
    EXPECT_EQ(mDecodings, 1);
    EXPECT_EQ(mFiles.GetUsedMemory(), 0U);
}

TEST_F(PrepareTest, WhatIsReadInPartStays)
{
    mFiles.Prepare(1, 40, Decode(40));
    EXPECT_EQ(Take(1, 40, true), 40U);
    EXPECT_EQ(Take(1, 40, true), 40U);
    EXPECT_EQ(mDecodings, 1);
    EXPECT_EQ(mFiles.GetUsedMemory(), 40U);
}

TEST_F(PrepareTest, WhatFindsNoRoomIsNotPrepared)
{
    mFiles.Prepare(1, 101, Decode(101));
    EXPECT_EQ(mDecodings, 0);
    EXPECT_EQ(Take(1, 101, false), 101U) << "and is decoded by whoever asks";
}

TEST_F(PrepareTest, AFailureIsForgotten)
{
    mFiles.Prepare(1, 40,
                   [](const TreeReader::ContentSink &)
                   {
                       return Fault{FaultKind::ReadError, "file", "cannot be read"};
                   });
    EXPECT_EQ(mFiles.GetUsedMemory(), 0U);
    EXPECT_EQ(Take(1, 40, false), 40U);
}

TEST_F(PrepareTest, WhoAsksMeanwhileIsAnsweredByWhoPrepares)
{
    uint64 taken = 0;
    mFiles.Prepare(1, 40,
                   [&](const TreeReader::ContentSink &sink) -> TreeReader::Failure
                   {
                       std::thread(
                           [&]
                           {
                               mFiles.Take({1, 40, false}, Decode(40),
                                           [&taken](const TreeReader::Result<DecodedFiles::Content> &content)
                                           {
                                               taken = content ? (*content)->GetSize() : 0;
                                           });
                           })
                           .join();
                       EXPECT_EQ(taken, 0U);
                       sink(std::string(40, 'x'));
                       return std::nullopt;
                   });
    EXPECT_EQ(taken, 40U);
    EXPECT_EQ(mDecodings, 0);
}

/// A directory of zlib files, read as a mount reads them.
class ReadAheadTest : public OpenedRelease
{
protected:
    ReadAheadTest()
    {
        for (std::uint32_t number = 10; number < 40; ++number)
        {
            mTree.Write("source/data/" + std::to_string(number), ContentOf(number));
        }
        TreeWriter::PackRequest request = Request(Storage::Archive, Compression::Zlib);
        request.compressAlways = true;
        TreeWriter::PackRelease(request);
    }

    static std::string ContentOf(std::uint32_t number) { return PatternedBytes(5000, number); }

    void Mount(bool readsAhead)
    {
        mView = std::make_unique<TreeReader::View>(Open());
        mMounted = std::make_unique<TreeMount::MountedTree>(*TreeMount::MountedTree::Make(*mView, ""));
        TreeMount::ReadingRules rules;
        rules.readsAhead = readsAhead;
        mFiles = std::make_unique<TreeMount::MountedFiles>(*mMounted, rules,
                                                           [this](const std::string &line)
                                                           {
                                                               mReported.push_back(line);
                                                           });
    }

    std::string Read(std::uint32_t number)
    {
        std::string text;
        mFiles->Read(mView->Find("data/" + std::to_string(number)), 0, 1 << 17,
                     [&text](const TreeReader::Result<std::string_view> &bytes)
                     {
                         text = bytes ? std::string(*bytes) : std::string("<") + NameOf(bytes.GetFault().kind) + ">";
                     });
        return text;
    }

    void DamageAll()
    {
        for (std::uint32_t number = 10; number < 40; ++number)
        {
            const auto stored = *mView->Locate(mView->Find("data/" + std::to_string(number)));
            FlipByte(stored.path.substr(mTree.Root().size() + 1), stored.offset + stored.storedSize - 1);
        }
    }

    std::unique_ptr<TreeReader::View> mView;
    std::unique_ptr<TreeMount::MountedTree> mMounted;
    std::unique_ptr<TreeMount::MountedFiles> mFiles;
    std::vector<std::string> mReported;
};

TEST_F(ReadAheadTest, WhatFollowsTheFirstFileIsThereBeforeSomebodyAsks)
{
    Mount(true);
    EXPECT_TRUE(Read(10) == ContentOf(10));
    DamageAll();
    for (std::uint32_t number = 11; number < 19; ++number)
    {
        EXPECT_TRUE(Read(number) == ContentOf(number)) << number;
    }
    EXPECT_EQ(Read(19), "<damaged-data>");
    EXPECT_EQ(mReported.size(), 1U) << "what nobody asked for is not told";
    EXPECT_EQ(Read(11), "<damaged-data>") << "what was read whole is not kept";
}

TEST_F(ReadAheadTest, EveryFileIsRightInAnyOrder)
{
    Mount(true);
    for (const std::uint32_t step : {1U, 7U, 11U, 29U})
    {
        for (std::uint32_t index = 0; index < 30; ++index)
        {
            const std::uint32_t number = 10 + index * step % 30;
            EXPECT_TRUE(Read(number) == ContentOf(number)) << number;
        }
    }
    EXPECT_TRUE(mReported.empty());
}

TEST_F(ReadAheadTest, ManyReadersGetWhatWasPackedWhileOneOfThemWorksAhead)
{
    Mount(true);
    std::atomic<int> right{0};
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int reader = 0; reader < 4; ++reader)
    {
        threads.emplace_back(
            [&]
            {
                for (std::uint32_t number = 10; number < 40; ++number)
                {
                    mFiles->Read(mView->Find("data/" + std::to_string(number)), 0, 1 << 17,
                                 [&right, number](const TreeReader::Result<std::string_view> &bytes)
                                 {
                                     right += bytes && *bytes == ContentOf(number) ? 1 : 0;
                                 });
                }
            });
    }
    for (std::thread &thread : threads)
    {
        thread.join(); // who waited for another one's decoding was answered by it
    }
    EXPECT_EQ(right, 4 * 30);
}

TEST_F(ReadAheadTest, NobodyWorksAheadUnlessTheRulesSaySo)
{
    Mount(false);
    EXPECT_TRUE(Read(10) == ContentOf(10));
    DamageAll();
    EXPECT_EQ(Read(11), "<damaged-data>");
}
} // namespace
} // namespace Keld::Test
