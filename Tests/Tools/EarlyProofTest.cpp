#include "Tools/FaultServer.h"
#include "Tools/FetchFixture.h"

#include "Tools/Delivery/Sums/EarlyProof.h"
#include "Tools/TreeReader/TreeSet.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <fstream>
#include <thread>

namespace Keld::Test
{
namespace
{
using Delivery::ContentToProve;
using Delivery::EarlyProof;
using Delivery::ExpectedFile;
using TreeReader::EntryIndex;

constexpr unsigned Threads = 2;

void SpoilByte(std::string &bytes, std::size_t offset)
{
    bytes.at(offset) = bytes.at(offset) == '?' ? '!' : '?';
}

/// One archive with many files, stored and compressed, which comes to "coming" piece by piece.
class EarlyProofTest : public FetchFixture
{
protected:
    EarlyProofTest()
    {
        setenv("no_proxy", "127.0.0.1", 1);
        for (int number = 0; number < 300; ++number)
        {
            const std::string name = "f" + std::to_string(number);
            mFiles[name + ".a"] = name + std::string(8'000, static_cast<char>('a' + number % 26));
            mFiles[name + ".z"] = name + std::string(30'000, static_cast<char>('a' + number % 26));
        }
        Pack(mFiles, First);
        mBytes = mTree.Read(DataPath);
        auto release = mServed.OpenRelease("game", First);
        EXPECT_TRUE(release);
        mRelease = *release;
    }

    /// Everything that the archive holds, in the order of its bytes.
    std::vector<ContentToProve> Contents() const
    {
        std::vector<ContentToProve> contents;
        const TreeReader::ManifestTree &tree = mRelease->GetTree();
        for (uint32 number = 0; number < tree.GetFileCount(); ++number)
        {
            const EntryIndex file = tree.GetFileEntry(number);
            contents.push_back({file, *mRelease->Locate(file)});
            contents.back().stored.path = mTree.Path("coming");
        }
        std::sort(contents.begin(), contents.end(),
                  [](const ContentToProve &left, const ContentToProve &right)
                  {
                      return left.stored.offset < right.stored.offset;
                  });
        return contents;
    }

    ExpectedFile Expected() const
    {
        return {mTree.Path("coming"), mRelease.get(), Contents(), mBytes.size(), Delivery::SumOf(mBytes)};
    }

    /// How many contents end in the first bytes.
    std::size_t CountOf(uint64 size) const
    {
        const std::vector<ContentToProve> contents = Contents();
        return static_cast<std::size_t>(std::count_if(contents.begin(), contents.end(),
                                                      [size](const ContentToProve &content)
                                                      {
                                                          return content.stored.offset + content.stored.storedSize <=
                                                                 size;
                                                      }));
    }

    std::function<void()> CountReads()
    {
        return [this]
        {
            ++mReads;
        };
    }

    /// Until so many readings have begun; those that have are done before Finish returns.
    void WaitForReads(std::size_t count) const
    {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
        while (mReads < count && std::chrono::steady_clock::now() < deadline)
        {
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        }
        EXPECT_GE(mReads, count);
    }

    /// The first bytes come, and after so many readings again, all of them wrong.
    void ExpectNothingProvedOfWhatCameAnew(EarlyProof &early, std::size_t first, std::size_t reads)
    {
        early.Expect("path", Expected());
        mTree.Write("coming", mBytes.substr(0, first));
        early.Note("path", first);
        WaitForReads(reads);
        early.Note("path", 0);
        mTree.Write("coming", std::string(first, '?') + mBytes.substr(first));
        early.Note("path", mBytes.size());
        early.Finish();
        EXPECT_FALSE(early.IsSummed("path"));
        EXPECT_FALSE(early.TakeUnproved("path"));
        EXPECT_EQ(early.GetProvedBytes(), 0U);
    }

    static inline const std::string DataPath = "server/MORV/projects/game/filearchives/1.0.0.0/files-0001.vka.dat";
    FileContents mFiles;
    std::string mBytes; ///< of the data file
    TreeReader::Tree mServed{Server()};
    std::shared_ptr<const TreeReader::Release> mRelease;
    std::atomic<std::size_t> mReads{0};
};

TEST_F(EarlyProofTest, WhatCameIsProvedAndTheRestIsLeft)
{
    EarlyProof early(Threads, CountReads());
    ExpectedFile expected = Expected();
    expected.sum.reset();
    early.Expect("path", std::move(expected));
    const std::size_t half = mBytes.size() / 2;
    mTree.Write("coming", mBytes.substr(0, half));
    early.Note("path", half);
    early.Note("nobody knows", half);
    ASSERT_GT(CountOf(half), 64U);
    WaitForReads(CountOf(half));
    early.Finish();
    const auto left = early.TakeUnproved("path");
    ASSERT_TRUE(left);
    EXPECT_EQ(left->size(), mFiles.size() - CountOf(half));
    EXPECT_GT(early.GetProvedBytes(), half);
    for (const ContentToProve &content : *left)
    {
        EXPECT_GT(content.stored.offset + content.stored.storedSize, half);
    }
    EXPECT_FALSE(early.TakeUnproved("path")) << "it was taken";
    EXPECT_FALSE(early.TakeUnproved("nobody knows"));
}

TEST_F(EarlyProofTest, WhatIsWrongStaysUnproved)
{
    std::string bytes = mBytes;
    const std::vector<ContentToProve> contents = Contents();
    const ContentToProve &wrong = *std::find_if(contents.begin() + 20, contents.end(),
                                                [](const ContentToProve &content)
                                                {
                                                    return content.stored.compression == TreeReader::Compression::None;
                                                });
    SpoilByte(bytes, wrong.stored.offset + 9);
    mTree.Write("coming", bytes);
    EarlyProof early(Threads, CountReads());
    early.Expect("path", Expected());
    early.Note("path", bytes.size());
    WaitForReads(mFiles.size());
    early.Finish();
    EXPECT_FALSE(early.IsSummed("path"));
    const auto left = early.TakeUnproved("path");
    ASSERT_TRUE(left);
    EXPECT_EQ(left->size(), 1U);
    const bool isLeft = std::any_of(left->begin(), left->end(),
                                    [&wrong](const ContentToProve &content)
                                    {
                                        return content.file == wrong.file;
                                    });
    EXPECT_TRUE(isLeft);
}

TEST_F(EarlyProofTest, ASumIsOfAllBytesHoweverTheyCame)
{
    EarlyProof early(Threads, CountReads());
    ExpectedFile expected = Expected();
    expected.contents.clear();
    early.Expect("path", std::move(expected));
    constexpr std::size_t piece = 300'000;
    std::ofstream coming(mTree.Path("coming"), std::ios::binary);
    for (std::size_t begin = 0; begin < mBytes.size(); begin += piece)
    {
        coming << mBytes.substr(begin, piece) << std::flush;
        early.Note("path", std::min(begin + piece, mBytes.size()));
    }
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::minutes(2);
    while (!early.IsSummed("path") && std::chrono::steady_clock::now() < deadline)
    {
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    EXPECT_TRUE(early.IsSummed("path"));
    early.Finish();
}

TEST_F(EarlyProofTest, NothingIsKnownOfAFileThatComesAnew)
{
    EarlyProof early(Threads, CountReads());
    ExpectNothingProvedOfWhatCameAnew(early, mBytes.size(), mFiles.size());
}

TEST_F(EarlyProofTest, AFailureLeavesAllToWhoeverChecksAfterwards)
{
    EarlyProof early(Threads,
                     [this]
                     {
                         ++mReads;
                         throw std::runtime_error("as by an interrupt");
                     });
    early.Expect("path", Expected());
    mTree.Write("coming", mBytes);
    early.Note("path", mBytes.size());
    WaitForReads(1);
    early.Finish();
    EXPECT_FALSE(early.IsSummed("path"));
    const auto left = early.TakeUnproved("path");
    ASSERT_TRUE(left);
    EXPECT_EQ(left->size(), mFiles.size());
}

TEST_F(EarlyProofTest, AFetchIsRightWhereAnArchiveComesAnewThatWasHalfProved)
{
    const FaultServer server(Server(),
                             [this](const ServedRequest &request, ServedAnswer &answer)
                             {
                                 if (!request.path.ends_with(".dat"))
                                 {
                                     return;
                                 }
                                 if (request.number == 0)
                                 {
                                     SpoilByte(answer.body, 100);
                                     answer.cutAfter = answer.body.size() / 2;
                                 }
                                 else
                                 {
                                     answer = {200, {}, mBytes}; // whatever range was asked for
                                 }
                             });
    FetchFrom(server.GetUrl(), Request());
    ExpectServes(First, mFiles);
}

TEST_F(EarlyProofTest, AFetchIsRefusedWhereAByteIsWrongThatCameEarly)
{
    std::string bytes = mBytes;
    SpoilByte(bytes, 100);
    mTree.Write(DataPath, bytes);
    const FaultServer server(Server(), [](const ServedRequest &, ServedAnswer &) {});
    ExpectRefusal(server.GetUrl(), Request(), "the source is damaged");
    EXPECT_FALSE(IsHere(First));
}

/// An archive with two long contents that are stored as they are, one after the other, and a small one behind them.
class EarlyProofOfLongContentsTest : public EarlyProofTest
{
protected:
    EarlyProofOfLongContentsTest()
    {
        mFiles.clear();
        mFiles["long1.a"] = std::string(Size, '1') + "end";
        mFiles["long2.a"] = std::string(Size, '2') + "end";
        mFiles["small.a"] = "small";
        Pack(mFiles, Second);
        mBytes = mTree.Read("server/MORV/projects/game/filearchives/1.0.0.1/files-0001.vka.dat");
        mRelease = *mServed.OpenRelease("game", Second);
    }

    /// Bytes come, and the last of them when each content and the sum have been begun with.
    /// \param contents that are long
    void Come(EarlyProof &early, const std::string &bytes, std::size_t contents = 2)
    {
        std::ofstream coming(mTree.Path("coming"), std::ios::binary);
        const std::size_t reads = mReads;
        std::size_t came = 0;
        for (const std::size_t size : {Size / 2, Size, Size * 3 / 2, bytes.size()})
        {
            if (size == bytes.size())
            {
                // Pieces of 256 KiB: all that is there for the sum, half of the last content, all of those before.
                WaitForReads(reads + 36 + 12 + 25 * (contents - 1));
            }
            coming << bytes.substr(came, size - came) << std::flush;
            came = size;
            early.Note("path", size);
        }
        early.Finish();
    }

    static constexpr std::size_t Size = 6 << 20;
};

TEST_F(EarlyProofOfLongContentsTest, WhatWasBegunIsProvedToItsEndWhenTheLastByteIsThere)
{
    EarlyProof early(Threads, CountReads());
    early.Expect("path", Expected());
    Come(early, mBytes);
    EXPECT_TRUE(early.IsSummed("path"));
    EXPECT_GE(early.GetProvedBytes(), Size * 2);
    const auto left = early.TakeUnproved("path");
    ASSERT_TRUE(left);
    ASSERT_EQ(left->size(), 1U) << "few small ones wait for whoever checks afterwards";
    EXPECT_EQ(left->front().stored.storedSize, mFiles["small.a"].size());
}

TEST_F(EarlyProofOfLongContentsTest, AWrongByteAnywhereLeavesItUnproved)
{
    for (const std::size_t offset : {std::size_t{0}, Size + 2, Size * 3 / 2 + 3})
    {
        SCOPED_TRACE(offset);
        std::string bytes = mBytes;
        SpoilByte(bytes, offset);
        EarlyProof early(Threads, CountReads());
        early.Expect("path", Expected());
        Come(early, bytes);
        EXPECT_FALSE(early.IsSummed("path"));
        const auto left = early.TakeUnproved("path");
        ASSERT_TRUE(left);
        ASSERT_EQ(left->size(), 2U);
        const TreeReader::StoredFile &wrong = left->front().stored;
        EXPECT_LE(wrong.offset, offset);
        EXPECT_GT(wrong.offset + wrong.storedSize, offset);
    }
}

TEST_F(EarlyProofOfLongContentsTest, BytesThatComeAnewProveNothingOfThoseBefore)
{
    EarlyProof early(Threads, CountReads());
    ExpectNothingProvedOfWhatCameAnew(early, Size / 2, 1);
}

TEST_F(EarlyProofOfLongContentsTest, ContentsThatLieOverEachOtherAreProvedEach)
{
    // As where an archive keeps equal contents once. They are the same file here, and all that differs is where.
    std::vector<ContentToProve> contents = Contents();
    contents.insert(contents.begin() + 1, contents.front());
    ExpectedFile expected = Expected();
    expected.contents = contents;
    EarlyProof early(Threads, CountReads());
    early.Expect("path", std::move(expected));
    Come(early, mBytes, 3);
    EXPECT_GE(early.GetProvedBytes(), Size * 3);
    EXPECT_TRUE(early.IsSummed("path"));
}

TEST_F(EarlyProofOfLongContentsTest, AFetchIsRefusedWhereAByteOfOneIsWrong)
{
    SpoilByte(mBytes, Size - 1);
    mTree.Write("server/MORV/projects/game/filearchives/1.0.0.1/files-0001.vka.dat", mBytes);
    const FaultServer server(Server(), [](const ServedRequest &, ServedAnswer &) {});
    ExpectRefusal(server.GetUrl(), Request(Second), "the source is damaged");
    EXPECT_FALSE(IsHere(Second));
}

TEST_F(EarlyProofOfLongContentsTest, AFetchServesThemWhereTheConnectionBreaksInTheMiddleOfOne)
{
    const FaultServer server(Server(),
                             [](const ServedRequest &request, ServedAnswer &answer)
                             {
                                 if (request.path.ends_with(".dat") && request.number == 0)
                                 {
                                     answer.cutAfter = Size / 2;
                                 }
                             });
    FetchFrom(server.GetUrl(), Request(Second));
    ExpectServes(Second, mFiles);
}
} // namespace
} // namespace Keld::Test
