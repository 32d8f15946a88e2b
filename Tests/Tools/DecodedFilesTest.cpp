#include "Tools/TreeMount/DecodedFiles.h"

#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <cstdlib>
#include <mutex>
#include <new>
#include <stdexcept>
#include <thread>

namespace Keld::Test
{
namespace
{
using TreeMount::DecodedFiles;
using TreeReader::ContentSink;
using TreeReader::Failure;
using TreeReader::Fault;
using TreeReader::FaultKind;
using TreeReader::Result;

/// Opens once and stays open.
class Gate
{
public:
    void Open()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mOpen = true;
        mOpened.notify_all();
    }

    void Pass()
    {
        std::unique_lock<std::mutex> lock(mMutex);
        mOpened.wait(lock,
                     [this]
                     {
                         return mOpen;
                     });
    }

private:
    std::mutex mMutex;
    std::condition_variable mOpened;
    bool mOpen = false;
};

class DecodedFilesTest : public testing::Test
{
protected:
    /// The content of a file, which is its number again and again, or its failure in angle brackets.
    std::string Take(DecodedFiles::Key key, uint64 size, bool isLasting = true)
    {
        std::string text;
        mFiles.Take({key, size, isLasting}, DecodeNumber(key, size), Reader(text));
        return text;
    }

    DecodedFiles::Decode DecodeNumber(DecodedFiles::Key key, uint64 size)
    {
        return [this, key, size](const ContentSink &sink) -> Failure
        {
            ++mDecodings;
            for (uint64 index = 0; index < size; ++index)
            {
                sink(std::to_string(key));
            }
            return std::nullopt;
        };
    }

    static DecodedFiles::Taker Reader(std::string &text)
    {
        return [&text](const Result<DecodedFiles::Content> &content)
        {
            std::vector<char> buffer;
            text = content ? std::string(*(*content)->Read(0, (*content)->GetSize(), buffer))
                           : "<" + content.GetFault().GetMessage() + ">";
        };
    }

    DecodedFiles mFiles{100};
    std::atomic<int> mDecodings{0};
};

TEST_F(DecodedFilesTest, AFileIsDecodedOnceAsLongAsThereIsRoom)
{
    EXPECT_EQ(Take(1, 40), std::string(40, '1'));
    EXPECT_EQ(Take(2, 40), std::string(40, '2'));
    EXPECT_EQ(Take(1, 40), std::string(40, '1'));
    EXPECT_EQ(mDecodings, 2);
    EXPECT_EQ(mFiles.GetUsedMemory(), 80U);
    EXPECT_EQ(Take(3, 30), std::string(30, '3'));
    EXPECT_EQ(mFiles.GetUsedMemory(), 70U) << "the one that was not used for longest has gone";
    Take(1, 40);
    EXPECT_EQ(mDecodings, 3);
    Take(2, 40);
    EXPECT_EQ(mDecodings, 4);
}

TEST_F(DecodedFilesTest, AFileThatIsReadAtOnceIsNotKept)
{
    Take(1, 40, false);
    EXPECT_EQ(mFiles.GetUsedMemory(), 0U);
    Take(1, 40, false);
    EXPECT_EQ(mDecodings, 2);
}

TEST_F(DecodedFilesTest, WhatFindsNoRoomGoesToDiskAndTakesNoMemory)
{
    EXPECT_EQ(Take(1, 101), std::string(101, '1'));
    EXPECT_EQ(mFiles.GetUsedMemory(), 0U);
    EXPECT_EQ(Take(1, 101), std::string(101, '1'));
    EXPECT_EQ(mDecodings, 1);
    for (DecodedFiles::Key key = 2; key < 9; ++key)
    {
        EXPECT_EQ(Take(key, 200), std::string(200, static_cast<char>('0' + key)));
    }
    Take(1, 101);
    EXPECT_EQ(mDecodings, 9) << "few temporary files are kept";
}

TEST_F(DecodedFilesTest, WithoutADirectoryForTemporaryFilesALargeFileFails)
{
    setenv("TMPDIR", "/nowhere/at/all", 1);
    EXPECT_EQ(Take(1, 101), "<decoding: cannot make a temporary file in /nowhere/at/all: No such file or directory>");
    unsetenv("TMPDIR");
    EXPECT_EQ(Take(1, 101), std::string(101, '1'));
}

TEST_F(DecodedFilesTest, ManyWhoAskAtOnceShareOneDecoding)
{
    constexpr int others = 8;
    Gate begun;
    Gate allHaveAsked;
    const auto decode = [&](const ContentSink &sink) -> Failure
    {
        ++mDecodings;
        begun.Open();
        allHaveAsked.Pass();
        sink("content");
        return std::nullopt;
    };
    std::string texts[others + 1];
    std::thread decoder(
        [&]
        {
            mFiles.Take({1, 7, true}, decode, Reader(texts[others]));
        });
    begun.Pass();
    for (int index = 0; index < others; ++index)
    {
        mFiles.Take({1, 7, true}, decode, Reader(texts[index])); // comes back at once
        EXPECT_EQ(texts[index], "");
    }
    allHaveAsked.Open();
    decoder.join();
    for (const std::string &text : texts)
    {
        EXPECT_EQ(text, "content");
    }
    EXPECT_EQ(mDecodings, 1);
}

TEST_F(DecodedFilesTest, WhatIsBeingDecodedCountsAsMemory)
{
    std::string second;
    const auto decode = [&](const ContentSink &sink) -> Failure
    {
        EXPECT_EQ(mFiles.GetUsedMemory(), 60U);
        second = Take(2, 60);
        EXPECT_EQ(mFiles.GetUsedMemory(), 60U) << "the second one has gone to disk";
        sink(std::string(60, 'x'));
        return std::nullopt;
    };
    std::string first;
    mFiles.Take({1, 60, true}, decode, Reader(first));
    EXPECT_EQ(first, std::string(60, 'x'));
    EXPECT_EQ(second, std::string(60, '2'));
}

TEST_F(DecodedFilesTest, AFailureReachesAllWhoAskAndIsNotKept)
{
    const auto fail = [](const ContentSink &) -> Failure
    {
        return Fault{FaultKind::DamagedData, "files.dat", "damaged"};
    };
    const auto crash = [](const ContentSink &) -> Failure
    {
        throw std::runtime_error("broken");
    };
    std::string text;
    mFiles.Take({1, 7, true}, fail, Reader(text));
    EXPECT_EQ(text, "<files.dat: damaged>");
    mFiles.Take({1, 7, true}, crash, Reader(text));
    EXPECT_EQ(text, "<decoding: broken>");
    EXPECT_EQ(mFiles.GetUsedMemory(), 0U);
    EXPECT_EQ(Take(1, 7), "1111111");
}

TEST_F(DecodedFilesTest, WhoThrowsKeepsNobodyFromHisAnswer)
{
    const DecodedFiles::Taker thrower = [](const Result<DecodedFiles::Content> &)
    {
        throw std::bad_alloc();
    };
    std::string second;
    std::string own;
    const auto decode = [&](const ContentSink &sink) -> Failure
    {
        mFiles.Take({1, 7, true}, DecodeNumber(1, 7), thrower); // both wait for this decoding
        mFiles.Take({1, 7, true}, DecodeNumber(1, 7), Reader(second));
        sink("content");
        return std::nullopt;
    };
    mFiles.Take({1, 7, true}, decode, Reader(own));
    EXPECT_EQ(own, "content");
    EXPECT_EQ(second, "content");
    second.clear();
    mFiles.Prepare(2, 7,
                   [&](const ContentSink &sink) -> Failure
                   {
                       mFiles.Take({2, 7, true}, DecodeNumber(2, 7), thrower);
                       mFiles.Take({2, 7, true}, DecodeNumber(2, 7), Reader(second));
                       sink("content");
                       return std::nullopt;
                   });
    EXPECT_EQ(second, "content");
    second.clear();
    const auto decodeThird = [&](const ContentSink &sink) -> Failure
    {
        mFiles.Take({3, 7, true}, DecodeNumber(3, 7), Reader(second));
        sink("content");
        return std::nullopt;
    };
    EXPECT_THROW(mFiles.Take({3, 7, true}, decodeThird, thrower), std::bad_alloc);
    EXPECT_EQ(second, "content");
}

TEST_F(DecodedFilesTest, ManyThreadsAndLittleRoomGiveWholeContents)
{
    std::vector<std::thread> threads;
    std::atomic<int> wrong{0};
    for (unsigned number = 0; number < 4; ++number)
    {
        threads.emplace_back(
            [this, &wrong, number]
            {
                for (unsigned round = 0; round < 300; ++round)
                {
                    const DecodedFiles::Key key = 1 + (number + round) % 5;
                    std::string text;
                    Gate answered;
                    const DecodedFiles::Taker reader = Reader(text);
                    mFiles.Take({key, 20 * key, round % 3 != 0}, DecodeNumber(key, 20 * key),
                                [&](const Result<DecodedFiles::Content> &content)
                                {
                                    reader(content);
                                    answered.Open();
                                });
                    answered.Pass();
                    wrong += text == std::string(20 * key, static_cast<char>('0' + key)) ? 0 : 1;
                }
            });
    }
    for (std::thread &thread : threads)
    {
        thread.join();
    }
    EXPECT_EQ(wrong, 0);
    EXPECT_LE(mFiles.GetUsedMemory(), 100U);
}
} // namespace
} // namespace Keld::Test
