#include "KeldFoundation/logger/LoggerCore.h"

#include "KeldFoundation/logger/BuiltInLogger.h"
#include "KeldFoundation/logger/LoggerTest.h"

// How the logger comes into being and ends, and what its table does meanwhile.
namespace Keld::Test
{
namespace
{
int gHookCalls = 0;
bool gHookFoundTheLogger = false;

class LoggerLifeTest : public ::testing::Test
{
protected:
    LoggerLifeTest()
    {
        SetCurrentLogger(GetBuiltInLogger());
        EndLogger();
    }
    ~LoggerLifeTest() override { EndLogger(); }

    static bool Exists() { return Logger::LoggerCore::Get() != nullptr; }

    const IKeldLogger &mLogger = *GetBuiltInLogger();
};

TEST_F(LoggerLifeTest, TheFirstStartMakesTheLoggerAndTheLastStopEndsIt)
{
    EXPECT_FALSE(Exists());
    mLogger.Startup();
    EXPECT_TRUE(Exists());
    mLogger.Startup();
    mLogger.Shutdown();
    EXPECT_TRUE(Exists());
    mLogger.Shutdown();
    EXPECT_FALSE(Exists());
}

TEST_F(LoggerLifeTest, AStopTooManyIsCounted)
{
    mLogger.Shutdown();
    mLogger.Startup();
    EXPECT_FALSE(Exists()) << "the count went from -1 to 0";
    mLogger.Startup();
    EXPECT_TRUE(Exists());
    mLogger.Shutdown();
    EXPECT_FALSE(Exists());
}

TEST_F(LoggerLifeTest, AStopWithoutAStartLeavesALoggerThatAMessageMade)
{
    Log(OKAY, GEN, 0, "makes the logger, even though it is not wanted");
    EXPECT_TRUE(Exists());
    mLogger.Shutdown();
    EXPECT_TRUE(Exists());
    mLogger.Startup();
}

TEST_F(LoggerLifeTest, AMessageMakesTheLoggerAgain)
{
    mLogger.Startup();
    mLogger.SetIgnoredGroups(0, 0);
    mLogger.Shutdown();
    Log(OKAY, GEN, 0, "not wanted");
    EXPECT_TRUE(Exists());
    EXPECT_EQ(mLogger.GetIgnoredGroups(), 4u) << "the defaults";
}

TEST_F(LoggerLifeTest, CallsTheHookOnceForEachLogger)
{
    gHookCalls = 0;
    Logger::gLoggerCreatedHook = []
    {
        ++gHookCalls;
        gHookFoundTheLogger = GetBuiltInLogger()->FindTarget("StdErrLogTarget") != nullptr;
    };
    mLogger.Startup();
    mLogger.Startup();
    Log(OKAY, GEN, 0, "not wanted");
    EXPECT_EQ(gHookCalls, 1);
    EXPECT_TRUE(gHookFoundTheLogger);
    mLogger.Shutdown();
    mLogger.Shutdown();
    Log(OKAY, GEN, 0, "not wanted");
    EXPECT_EQ(gHookCalls, 2);
    Logger::gLoggerCreatedHook = nullptr;
}

TEST_F(LoggerLifeTest, OnlyStandardErrorIsAttachedAtFirst)
{
    mLogger.Startup();
    EXPECT_EQ(mLogger.FindTarget("StdErrLogTarget"), mLogger.GetStdErrTarget());
    EXPECT_EQ(mLogger.FindTarget("StdOutLogTarget"), nullptr);
    EXPECT_EQ(mLogger.GetStdErrTarget()->IsAttached(mLogger.GetStdErrTarget()), 1);
    EXPECT_EQ(mLogger.GetStdOutTarget()->IsAttached(mLogger.GetStdOutTarget()), 0);
    mLogger.Shutdown();
}

TEST_F(LoggerLifeTest, TheEndTellsTheTargetsToDetachFromLastToFirst)
{
    std::string order;
    PlainTarget first("1");
    PlainTarget second("2");
    PlainTarget third("3");
    mLogger.Startup();
    for (PlainTarget *target : {&first, &second, &third})
    {
        target->onDetach = [&order, target]
        {
            order += target->name;
        };
        mLogger.AddTarget(target);
    }
    mLogger.Shutdown();
    EXPECT_EQ(order, "321");
}

TEST_F(LoggerLifeTest, EveryCallIsHarmlessWithoutALogger)
{
    PlainTarget target;
    EXPECT_FALSE(Exists());
    mLogger.RemoveTarget(&target);
    mLogger.AddTarget(&target);
    mLogger.SetLevel(0);
    mLogger.SetIgnoredGroups(1, 2);
    mLogger.Mute();
    mLogger.Unmute();
    mLogger.SetReservedSwitch();
    mLogger.ClearReservedSwitch();
    EXPECT_EQ(mLogger.GetLevel(), 1);
    EXPECT_EQ(mLogger.GetIgnoredGroups(), 4u);
    EXPECT_EQ(mLogger.FindTarget("StdErrLogTarget"), nullptr);
    EXPECT_EQ(mLogger.GetStdErrTarget(), nullptr);
    EXPECT_EQ(mLogger.GetStdOutTarget(), nullptr);
    EXPECT_STREQ(mLogger.GetApplicationName(), "<unknown>");
    const LogRecord record{2010, 1, 2, 3, 4, 5, 0, WARN, DBG, "text"};
    char line[64];
    mLogger.FormatLine(line, sizeof line, "#E #M", &record);
    EXPECT_STREQ(line, "<unknown> text\n");
    EXPECT_FALSE(Exists()) << "none of these makes a logger";

    mLogger.Startup();
    EXPECT_EQ(mLogger.FindTarget("PlainTarget"), nullptr);
    mLogger.Shutdown();
}

TEST_F(LoggerLifeTest, TheCounterOfWarningsOutlivesTheLogger)
{
    mLogger.Startup();
    uint64 before = 0;
    ASSERT_TRUE(CounterRegistry::Get().GetValue(before, "Logging.Warnings"));
    Log(WARN, GEN, 0, "no target takes it");
    mLogger.Shutdown();
    mLogger.Startup();
    uint64 after = 0;
    EXPECT_TRUE(CounterRegistry::Get().GetValue(after, "Logging.Warnings"));
    EXPECT_EQ(after, before + 1);
    mLogger.Shutdown();
}
} // namespace
} // namespace Keld::Test
