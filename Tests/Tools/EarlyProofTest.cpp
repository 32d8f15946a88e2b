#include "Tools/FaultServer.h"
#include "Tools/FetchFixture.h"

#include "Tools/Delivery/EarlyProof.h"
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
    early.Expect("path", Expected());
    mTree.Write("coming", mBytes);
    early.Note("path", mBytes.size());
    WaitForReads(mFiles.size());
    early.Note("path", 0);
    mTree.Write("coming", std::string(mBytes.size(), '?'));
    early.Note("path", mBytes.size());
    early.Finish();
    EXPECT_FALSE(early.IsSummed("path"));
    EXPECT_FALSE(early.TakeUnproved("path"));
    EXPECT_EQ(early.GetProvedBytes(), 0U);
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
} // namespace
} // namespace Keld::Test
