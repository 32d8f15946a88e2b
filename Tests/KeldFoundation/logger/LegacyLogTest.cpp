#include "KeldFoundation/logger/LegacyLog.h"

#include "KeldFoundation/counters/StatusHeader.h"
#include "KeldFoundation/logger/BuiltInLogger.h"
#include "KeldFoundation/logger/FdCapture.h"
#include "KeldFoundation/logger/LoggerTest.h"
#include "KeldFoundation/logger/MessageRing.h"
#include "Support/LogRecorder.h"

namespace Keld::Test
{
namespace
{
class LegacyLogTest : public LoggerTest
{
protected:
    LegacyLogTest()
    {
        DetachStdErr();
        mLogger.SetLevel(OKAY);
        mLogger.SetIgnoredGroups(0, 0);
        mLogger.AddTarget(&mTarget);
    }

    ~LegacyLogTest() override { mLogger.RemoveTarget(&mTarget); }

    PlainTarget mTarget;
};

TEST_F(LegacyLogTest, MapsEveryLevelToASeverityAndGroups)
{
    struct Row
    {
        uint32 level;
        int32 severity;
        uint64 groups;
    };
    for (const Row &row : {Row{1, 0, 2}, Row{2, 0, 2}, Row{3, 0, 5}, Row{4, 0, 5}, Row{5, 0, 2}, Row{6, 1, 9},
                           Row{7, 1, 17}, Row{8, 1, 1}, Row{9, 2, 1}, Row{10, 2, 1}, Row{11, 3, 2}, Row{13, 0, 2},
                           Row{14, 0, 2}, Row{1000, 0, 2}, Row{0xFFFFFFFF, 0, 2}})
    {
        SCOPED_TRACE(row.level);
        mTarget.texts.clear();
        mTarget.records.clear();
        LegacyLog(row.level, "%s %d", "text", 5);
        ASSERT_EQ(mTarget.texts, std::vector<std::string>{"text 5"});
        EXPECT_EQ(mTarget.records[0].severity, row.severity);
        EXPECT_EQ(mTarget.records[0].groups, row.groups);
    }
}

TEST_F(LegacyLogTest, LevelZeroLogsNothing)
{
    LegacyLog(0, "text");
    EXPECT_TRUE(mTarget.texts.empty());
}

TEST_F(LegacyLogTest, GoesToTheBuiltInLoggerWhateverIsCurrent)
{
    LogRecorder::Clear();
    SetCurrentLogger(LogRecorder::Table());
    LegacyLog(9, "text");
    SetCurrentLogger(GetBuiltInLogger());
    EXPECT_TRUE(LogRecorder::Lines().empty());
    EXPECT_EQ(mTarget.texts.size(), 1u);
}

TEST_F(LegacyLogTest, MemoryDebugIsKeptAndNotLogged)
{
    LegacyLog(12, "%s", "kept");
    EXPECT_TRUE(mTarget.texts.empty());
    ASSERT_FALSE(GetLegacyTexts().empty());
    EXPECT_EQ(GetLegacyTexts().back(), "kept");
}

TEST_F(LegacyLogTest, KeptTextsAreCutAt4095Characters)
{
    LegacyLog(12, "%s", std::string(5000, 'x').c_str());
    EXPECT_EQ(GetLegacyTexts().back(), std::string(4095, 'x'));
}

TEST_F(LegacyLogTest, KeepsTheLastHundredTexts)
{
    for (int index = 0; index < 250; ++index)
    {
        LegacyLog(12, "text %d", index);
    }
    const std::vector<std::string> texts = GetLegacyTexts();
    ASSERT_EQ(texts.size(), 100u);
    for (int index = 0; index < 100; ++index)
    {
        EXPECT_EQ(texts[static_cast<uint_size>(index)], "text " + std::to_string(index + 150));
    }
}

TEST_F(LegacyLogTest, DumpingPrintsNothing)
{
    LegacyLog(12, "text");
    FdCapture errors(STDERR_FILENO);
    FdCapture output(STDOUT_FILENO);
    DumpLegacyLog();
    EXPECT_EQ(output.Stop(), "");
    EXPECT_EQ(errors.Stop(), "");
    EXPECT_TRUE(mTarget.texts.empty());
    EXPECT_EQ(GetLegacyTexts().back(), "text");
}

TEST(MessageRingTest, GivesTextsFromTheOldestOn)
{
    Logger::MessageRing ring;
    std::string all;
    const auto append = [&](const std::string &text)
    {
        all += text;
    };
    ring.ForEach(append);
    EXPECT_EQ(all, "");
    ring.Store("a");
    ring.Store("b");
    ring.ForEach(append);
    EXPECT_EQ(all, "ab");
    for (int index = 0; index < 99; ++index)
    {
        ring.Store("c");
    }
    all.clear();
    ring.ForEach(append);
    EXPECT_EQ(all, "b" + std::string(99, 'c'));
}

TEST_F(LegacyLogTest, SetsTheLevelAndUnmutes)
{
    struct Row
    {
        uint32 level;
        int32 severity;
    };
    for (const Row &row : {Row{1, 0}, Row{3, 0}, Row{4, 0}, Row{5, 0}, Row{6, 1}, Row{7, 1}, Row{8, 1}, Row{9, 2},
                           Row{10, 2}, Row{11, 3}, Row{12, 3}})
    {
        SCOPED_TRACE(row.level);
        mLogger.SetLevel(row.severity == 0 ? 3 : 0);
        mLogger.Mute();
        mTarget.texts.clear();
        SetLegacyLevel(row.level);
        EXPECT_EQ(mLogger.GetLevel(), row.severity);
        EXPECT_EQ(mTarget.texts.size(), 1u) << "the announcement, since it is no longer muted";
    }
}

TEST_F(LegacyLogTest, SomeLevelsChangeNothing)
{
    mTarget.texts.clear();
    for (const uint32 level : {0u, 2u, 14u, 0xFFFFFFFFu})
    {
        SCOPED_TRACE(level);
        SetLegacyLevel(level);
        EXPECT_EQ(mLogger.GetLevel(), 0);
        Log(ERROR, DBG, 0, "not muted");
        EXPECT_EQ(mTarget.texts, std::vector<std::string>{"not muted"});
        mTarget.texts.clear();
    }
}

TEST_F(LegacyLogTest, TheLevelNoneMutes)
{
    mTarget.texts.clear();
    SetLegacyLevel(13);
    Log(ALWAYS, DBG, 0, "muted");
    EXPECT_TRUE(mTarget.texts.empty());
    EXPECT_EQ(mLogger.GetLevel(), 0);
}

TEST_F(LegacyLogTest, ParsesTheNamesOfLevels)
{
    const char *const names[] = {
        "OPD",         "ALL",  "LEGACY", "TRACE", "DEBUG",  "INFO",         "PERFORMANCE_ISSUE",
        "MEMORY_LEAK", "WARN", "ERROR",  "FATAL", "ALWAYS", "MEMORY_DEBUG", "NONE"};
    for (uint32 level = 0; level < 14; ++level)
    {
        EXPECT_EQ(ParseLegacyLevel(names[level]), level) << names[level];
    }
    EXPECT_EQ(ParseLegacyLevel("fatal"), 10u);
    EXPECT_EQ(ParseLegacyLevel("Memory_Debug"), 12u);
    EXPECT_EQ(ParseLegacyLevel("OKAY"), 5u);
    EXPECT_EQ(ParseLegacyLevel("okay"), 5u);
    EXPECT_EQ(ParseLegacyLevel("WARNING"), 14u);
    EXPECT_EQ(ParseLegacyLevel("WAR"), 14u);
    EXPECT_EQ(ParseLegacyLevel(""), 14u);
    EXPECT_EQ(ParseLegacyLevel(nullptr), 14u);
}

TEST_F(LegacyLogTest, SwitchesTheStatusHeader)
{
    mLogger.SetLevel(WARN);
    mTarget.texts.clear();
    SetMemoryHeader(false);
    EXPECT_FALSE(gStatusHeader.mMemoryHeader.load());
    SetMemoryHeader(true);
    EXPECT_TRUE(gStatusHeader.mMemoryHeader.load());
    EXPECT_EQ(mLogger.GetLevel(), 1);

    SetHeaderCounters(true);
    EXPECT_TRUE(gStatusHeader.mHeaderCounters.load());
    EXPECT_EQ(mLogger.GetLevel(), 0);
    mLogger.SetLevel(WARN);
    SetHeaderCounters(false);
    EXPECT_FALSE(gStatusHeader.mHeaderCounters.load());
    EXPECT_EQ(mLogger.GetLevel(), 1) << "only setting the switch changes the level";
}
} // namespace
} // namespace Keld::Test
