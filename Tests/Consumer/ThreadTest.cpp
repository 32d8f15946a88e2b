#include "Support/ReleaseFixture.h"

#include <atomic>
#include <functional>
#include <thread>

namespace Keld::Test
{
namespace
{
class ThreadTest : public ReleaseFixture
{
protected:
    static constexpr int Rounds = 60;

    ThreadTest()
    {
        for (int index = 0; index < 8; ++index)
        {
            mContents.push_back(std::string(1000 + static_cast<std::size_t>(index), static_cast<char>('a' + index)));
        }
        std::vector<ReleaseFile> files;
        for (std::size_t index = 0; index < mContents.size(); ++index)
        {
            files.push_back({FilePath(index), mContents[index], index % 2 != 0});
        }
        mTree.Project("first", "1.0.0.0", files);
        mTree.Project("second", "1.0.0.0", {{"data/file0", "hidden"}, {"data/own", "own"}});
        Start(mTree.Solution("suite", "1.0.0.0", {{"first", "1.0.0.0", 2}, {"second", "1.0.0.0", 1}}));
        LogRecorder::Clear();
    }

    static std::string FilePath(std::size_t index) { return "data/file" + std::to_string(index); }

    static void Run(const std::vector<std::function<void()>> &jobs)
    {
        std::vector<std::thread> threads;
        threads.reserve(jobs.size());
        for (const std::function<void()> &job : jobs)
        {
            threads.emplace_back(job);
        }
        for (std::thread &thread : threads)
        {
            thread.join();
        }
    }

    Names mContents;
};

TEST_F(ThreadTest, ManyThreadsLookUpOpenReadAndEnumerateAtOnce)
{
    const Names listing = List("data/*");
    std::atomic<int> wrong{0};
    const auto reader = [&]
    {
        for (int round = 0; round < Rounds; ++round)
        {
            const std::size_t index = static_cast<std::size_t>(round) % mContents.size();
            wrong += Content(FilePath(index)) != mContents[index];
        }
    };
    const auto finder = [&]
    {
        for (int round = 0; round < Rounds; ++round)
        {
            wrong += List("data/*") != listing;
        }
    };
    const auto tester = [&]
    {
        for (int round = 0; round < Rounds; ++round)
        {
            wrong += MorvFileExists("DATA/own") != 1;
            wrong += MorvFileExists("data/not-there") != 0;
            wrong += MorvOpenFile("data") != nullptr;
        }
    };
    Run({reader, reader, reader, finder, finder, tester});
    EXPECT_EQ(wrong, 0);
    MorvShutdown();
    ExpectAll({});
}

TEST_F(ThreadTest, ManyThreadsReadThroughOneHandle)
{
    OpenFileHandle *const handle = MorvOpenFile("data/file3");
    ASSERT_NE(handle, nullptr);
    std::atomic<int> wrong{0};
    const auto reader = [&]
    {
        std::string buffer(100, '\0');
        for (int round = 0; round < Rounds; ++round)
        {
            std::uint32_t bytesRead = 0;
            wrong += MorvRead(handle, static_cast<std::uint64_t>(round), 100, &bytesRead, buffer.data()) != S_OK;
            wrong += buffer != std::string(100, 'd');
            wrong += MorvGetFileSize(handle) != 1003;
        }
    };
    Run({reader, reader, reader, reader, reader, reader});
    EXPECT_EQ(wrong, 0);
    MorvCloseFile(handle);
}

TEST_F(ThreadTest, ThreadsLogAtOnce)
{
    const auto failing = [&]
    {
        mTree.Disk().Remove("MORV/projects/second/releases/1.0.0.0/deploy/data/own");
        for (int round = 0; round < Rounds; ++round)
        {
            EXPECT_EQ(MorvOpenFile("data/own"), nullptr);
        }
    };
    failing();
    const std::size_t linesOfOne = LogRecorder::Lines().size();
    LogRecorder::Clear();
    Run({failing, failing, failing});
    EXPECT_EQ(LogRecorder::Lines().size(), 3 * linesOfOne);
    EXPECT_GT(linesOfOne, 0u);
}

std::atomic<std::size_t> gOtherMessages{0};

void CountOther(std::int32_t, std::uint32_t, std::uint32_t, const char *, va_list)
{
    ++gOtherMessages;
}

KeldGroupMask RegisterOther(const char *)
{
    return {0x200, 0};
}

TEST_F(ThreadTest, TheLoggerChangesWhileOthersLog)
{
    mTree.Disk().Remove("MORV/projects/second/releases/1.0.0.0/deploy/data/own");
    EXPECT_EQ(MorvOpenFile("data/own"), nullptr);
    const std::size_t linesOfOne = LogRecorder::Lines().size();
    LogRecorder::Clear();
    gOtherMessages = 0;

    IKeldLogger other{};
    other.RegisterGroup = RegisterOther;
    other.Log = CountOther;
    const auto failing = []
    {
        for (int round = 0; round < Rounds; ++round)
        {
            EXPECT_EQ(MorvOpenFile("data/own"), nullptr);
        }
    };
    const auto changing = [&other]
    {
        for (int round = 0; round < Rounds; ++round)
        {
            MorvSetLogger(&other);
            MorvSetLogger(LogRecorder::Table());
        }
    };
    Run({failing, failing, changing});
    // Each message has gone to one of the two.
    EXPECT_EQ(LogRecorder::Lines().size() + gOtherMessages, std::size_t{2} * Rounds * linesOfOne);
}
} // namespace
} // namespace Keld::Test
