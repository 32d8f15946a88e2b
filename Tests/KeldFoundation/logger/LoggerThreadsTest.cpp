#include "KeldFoundation/logger/FdCapture.h"
#include "KeldFoundation/logger/LoggerTest.h"
#include "KeldFoundation/logger/StdErrLogTarget.h"
#include "KeldFoundation/logger/StdOutLogTarget.h"

#include <algorithm>
#include <atomic>
#include <thread>

namespace Keld::Test
{
namespace
{
constexpr int WriterCount = 4;
constexpr int MessageCount = 200;

void RunThreads(std::vector<std::function<void()>> bodies)
{
    std::vector<std::thread> threads;
    threads.reserve(bodies.size());
    std::atomic<bool> go{false};
    for (std::function<void()> &body : bodies)
    {
        threads.emplace_back(
            [&go, &body]
            {
                while (!go.load())
                {
                    std::this_thread::yield();
                }
                body();
            });
    }
    go.store(true);
    for (std::thread &thread : threads)
    {
        thread.join();
    }
}

std::vector<std::string> SplitLines(const std::string &text)
{
    std::vector<std::string> lines;
    for (uint_size begin = 0; begin < text.size();)
    {
        const uint_size end = text.find('\n', begin);
        lines.push_back(text.substr(begin, end - begin));
        begin = end + 1;
    }
    return lines;
}

class LoggerThreadsTest : public LoggerTest
{
};

TEST_F(LoggerThreadsTest, ThreadsThatLogFirstAtTheSameMomentLoseNothing)
{
    for (int round = 0; round < 20; ++round)
    {
        mLogger.Shutdown();
        FdCapture errors(STDERR_FILENO);
        RunThreads(std::vector<std::function<void()>>(WriterCount,
                                                      []
                                                      {
                                                          Log(ERROR, DBG, 0, "first");
                                                      }));
        EXPECT_EQ(SplitLines(errors.Stop()).size(), static_cast<uint_size>(WriterCount));
        mLogger.Startup();
    }
}

TEST_F(LoggerThreadsTest, LinesOfOneTargetNeverInterleave)
{
    FdCapture errors(STDERR_FILENO);
    const std::string text(300, 'x');
    RunThreads(std::vector<std::function<void()>>(WriterCount,
                                                  [&]
                                                  {
                                                      for (int count = 0; count < MessageCount; ++count)
                                                      {
                                                          Log(ERROR, DBG, 0, "%s", text.c_str());
                                                      }
                                                  }));
    const std::vector<std::string> lines = SplitLines(errors.Stop());
    EXPECT_EQ(lines.size(), static_cast<uint_size>(WriterCount * MessageCount));
    const std::string end = ":  ERROR| " + text;
    EXPECT_TRUE(std::all_of(lines.begin(), lines.end(),
                            [&](const std::string &line)
                            {
                                return line.rfind("<unknown>(", 0) == 0 && line.size() > end.size() &&
                                       line.compare(line.size() - end.size(), end.size(), end) == 0;
                            }));
}

TEST_F(LoggerThreadsTest, TargetsComeAndGoWhileThreadsLog)
{
    FdCapture errors(STDERR_FILENO);
    FdCapture output(STDOUT_FILENO);
    PlainTarget steady;
    mLogger.AddTarget(&steady);
    Logger::StdErrLogTarget comingAndGoing;
    std::atomic<int> writers{WriterCount};

    std::vector<std::function<void()>> bodies(WriterCount,
                                              [&]
                                              {
                                                  for (int count = 0; count < MessageCount; ++count)
                                                  {
                                                      Log(ERROR, count % 2 == 0 ? DBG : GEN, 0, "%d", count);
                                                      Log(WARN, DBG, 0, "%d", count);
                                                      Log(OKAY, DBG | XTR, 0, "filtered");
                                                  }
                                                  --writers;
                                              });
    bodies.emplace_back(
        [&]
        {
            while (writers.load() > 0)
            {
                comingAndGoing.Attach();
                comingAndGoing.SetLevel(comingAndGoing.GetLevel() ^ 3);
                comingAndGoing.SetGroups(DBG, 0, 0, 0);
                comingAndGoing.Configure({"other", WARN, 0, 0, "#D #G #H #M"});
                comingAndGoing.Detach();
                comingAndGoing.Attach();
                comingAndGoing.Deactivate();
            }
        });
    bodies.emplace_back(
        [&]
        {
            IKeldLogTarget *const target = mLogger.GetStdOutTarget();
            while (writers.load() > 0)
            {
                target->Attach(target);
                mLogger.FindTarget("other");
                mLogger.RegisterGroup("MRV");
                mLogger.SetIgnoredGroups(XTR, 1);
                target->Detach(target);
            }
        });
    const uint64 warningsBefore = Warnings();
    RunThreads(std::move(bodies));

    mLogger.RemoveTarget(&steady);
    EXPECT_EQ(steady.texts.size(), uint_size{2} * WriterCount * MessageCount);
    EXPECT_EQ(Warnings(), warningsBefore + uint64{WriterCount} * MessageCount);
}

TEST_F(LoggerThreadsTest, SettingsChangeWhileThreadsLog)
{
    DetachStdErr();
    std::atomic<int> writers{WriterCount};
    std::vector<std::function<void()>> bodies(WriterCount,
                                              [&]
                                              {
                                                  for (int count = 0; count < MessageCount; ++count)
                                                  {
                                                      Log(WARN, DBG, 0, "%d", count);
                                                  }
                                                  --writers;
                                              });
    bodies.emplace_back(
        [&]
        {
            while (writers.load() > 0)
            {
                mLogger.SetLevel(ERROR);
                mLogger.Mute();
                mLogger.Unmute();
                mLogger.SetIgnoredGroups(DBG, 0);
                mLogger.SetLevel(WARN);
            }
        });
    RunThreads(std::move(bodies));
    EXPECT_EQ(mLogger.GetLevel(), 1);
}
} // namespace
} // namespace Keld::Test
