#include "Tools/TreeWriter/StoredFormCheck.h"

#include "Support/TempTree.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/Compression.h"
#include "Tools/TreeWriter/ContentDigest.h"

#include <gtest/gtest.h>

#include <atomic>

namespace Keld::Test
{
namespace
{
using TreeReader::Compression;
using TreeReader::TreeError;
using TreeWriter::FormOfFile;
using TreeWriter::PackRequest;
using TreeWriter::PlannedFile;

/// Contents of several sizes, stored one behind another in two files in turn, every third of them compressed.
class StoredFormCheckTest : public testing::Test
{
protected:
    void SetUp() override
    {
        TreeWriter::ZlibCompressor compressor(1);
        std::string bytes[2];
        for (std::size_t number = 0; number < FormCount; ++number)
        {
            const std::string content(number == LargeOne ? 3'000'000 : number * 577,
                                      static_cast<char>('a' + number % 26));
            const bool compresses = number % 3 == 1;
            const std::string stored = compresses ? compressor.Compress(content) : content;
            std::string &file = bytes[number % 2];
            PlannedFile planned;
            planned.entry.digest = TreeWriter::DigestOf(content);
            mPlan.push_back(planned);
            mForms.push_back({number,
                              {mTree.Path(number % 2 == 0 ? "even" : "odd"), file.size(), stored.size(),
                               compresses ? Compression::Zlib : Compression::None, content.size()}});
            file += stored;
            mSize += content.size();
        }
        mTree.Write("even", bytes[0]);
        mTree.Write("odd", bytes[1]);
    }

    /// What the check says, or nothing when all is well.
    std::string Check(unsigned threads)
    {
        PackRequest request;
        request.threadCount = threads;
        request.advance = [this](uint64 bytes)
        {
            mAdvanced += bytes;
        };
        try
        {
            CheckStoredForms(request, mPlan, mForms);
        }
        catch (const TreeError &error)
        {
            return error.what();
        }
        return "";
    }

    static constexpr std::size_t FormCount = 100;
    static constexpr std::size_t LargeOne = 60; // not held whole

    TempTree mTree;
    std::vector<PlannedFile> mPlan;
    std::vector<FormOfFile> mForms;
    uint64 mSize = 0;
    std::atomic<uint64> mAdvanced = 0;
};

TEST_F(StoredFormCheckTest, TakesWhatIsAsItWasAndTellsHowFarItIs)
{
    for (const unsigned threads : {1U, 3U})
    {
        mAdvanced = 0;
        EXPECT_EQ(Check(threads), "");
        EXPECT_EQ(mAdvanced.load(), mSize);
    }
}

TEST_F(StoredFormCheckTest, FindsEachContentThatIsAnother)
{
    for (const std::size_t number : {std::size_t{0}, std::size_t{1}, LargeOne - 1, LargeOne, FormCount - 1})
    {
        mPlan[number].entry.digest[7] ^= 1;
        EXPECT_EQ(Check(2), mForms[number].second.file + ": what was written there reads back as another content");
        mPlan[number].entry.digest[7] ^= 1;
    }
}

TEST_F(StoredFormCheckTest, OfTwoFailuresInOneBatchTheFirstIsTold)
{
    mPlan[10].entry.digest[0] ^= 1;
    mForms[13].second.contentSize += 1; // compressed: its stream ends early then
    EXPECT_EQ(Check(1), mTree.Path("even") + ": what was written there reads back as another content");
    mPlan[10].entry.digest[0] ^= 1;
    EXPECT_EQ(Check(1), mTree.Path("odd") + ": what was written there cannot be read back: its zlib stream is damaged");
}

TEST_F(StoredFormCheckTest, RefusesAFileThatEndsEarlyOrIsGone)
{
    mForms.back().second.offset += 1;
    EXPECT_EQ(Check(2), mTree.Path("odd") + ": what was written there cannot be read back: it ends early");
    mTree.Remove("odd");
    EXPECT_EQ(Check(2), mTree.Path("odd") + ": what was written there cannot be read back: No such file or directory");
}
} // namespace
} // namespace Keld::Test
