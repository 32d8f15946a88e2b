#include "KeldFoundation/logger/BuiltInLogger.h"

#include "KeldFoundation/CStd/Assertion.h"
#include "KeldFoundation/logger/LoggerTest.h"
#include "Support/LogRecorder.h"

#include <ctime>

namespace Keld::Test
{
namespace
{
class BuiltInLoggerTest : public LoggerTest
{
protected:
    BuiltInLoggerTest()
    {
        DetachStdErr();
        mLogger.AddTarget(&mTarget);
    }

    ~BuiltInLoggerTest() override { mLogger.RemoveTarget(&mTarget); }

    PlainTarget mTarget;
};

TEST_F(BuiltInLoggerTest, IsOfInterfaceVersionOne)
{
    EXPECT_EQ(mLogger.GetInterfaceVersion(), 1u);
}

TEST_F(BuiltInLoggerTest, StartsAtWarningsWithoutTraces)
{
    EXPECT_EQ(mLogger.GetLevel(), 1);
    EXPECT_EQ(mLogger.GetIgnoredGroups(), 4u);
    EXPECT_STREQ(mLogger.GetApplicationName(), "<unknown>");
}

TEST_F(BuiltInLoggerTest, AnnouncesANewLevelAtOnce)
{
    const char *const lines[] = {"Global logging level set to   OKAY\n", "Global logging level set to   WARN\n",
                                 "Global logging level set to  ERROR\n", "Global logging level set to ALWAYS\n"};
    for (int32 level = 0; level < 4; ++level)
    {
        SCOPED_TRACE(level);
        mLogger.SetLevel(level);
        EXPECT_EQ(mLogger.GetLevel(), level);
        ASSERT_EQ(mTarget.texts.size(), 1u);
        EXPECT_EQ(mTarget.texts[0], lines[level]);
        EXPECT_EQ(mTarget.records[0].severity, 3);
        EXPECT_EQ(mTarget.records[0].groups, 1u);
        mTarget.texts.clear();
        mTarget.records.clear();
    }
}

TEST_F(BuiltInLoggerTest, AnnouncesANewLevelToTheCurrentLogger)
{
    LogRecorder::Clear();
    SetCurrentLogger(LogRecorder::Table());
    mLogger.SetLevel(2);
    SetCurrentLogger(GetBuiltInLogger());
    const std::vector<LogLine> expected = {
        {3, 1, 0, "Global logging level set to %s\n", "Global logging level set to  ERROR\n"}};
    EXPECT_EQ(LogRecorder::Lines(), expected);
    EXPECT_TRUE(mTarget.texts.empty());
}

TEST_F(BuiltInLoggerTest, DropsTheAnnouncementWhenMuted)
{
    mLogger.Mute();
    mLogger.SetLevel(0);
    EXPECT_TRUE(mTarget.texts.empty());
    EXPECT_EQ(mLogger.GetLevel(), 0);
    mLogger.Unmute();
    mLogger.SetLevel(0);
    EXPECT_EQ(mTarget.texts.size(), 1u);
}

TEST_F(BuiltInLoggerTest, SurvivesALevelThatIsNone)
{
    mLogger.SetLevel(4);
    EXPECT_TRUE(mTarget.texts.empty()) << "no severity passes a level of 4";
    mLogger.SetLevel(-7);
    EXPECT_EQ(mTarget.texts, std::vector<std::string>{"Global logging level set to ??????\n"});
    EXPECT_EQ(mLogger.GetLevel(), -7);
}

TEST_F(BuiltInLoggerTest, JoinsTheWordsOfTheIgnoredGroups)
{
    mLogger.SetIgnoredGroups(0x12345678, 0x9ABCDEF0);
    EXPECT_EQ(mLogger.GetIgnoredGroups(), 0x9ABCDEF012345678u);
}

TEST_F(BuiltInLoggerTest, TheReservedSwitchChangesNothing)
{
    mLogger.SetReservedSwitch();
    Log(ERROR, DBG, 0, "set");
    mLogger.ClearReservedSwitch();
    Log(ERROR, DBG, 0, "cleared");
    EXPECT_EQ(mTarget.texts, (std::vector<std::string>{"set", "cleared"}));
}

TEST_F(BuiltInLoggerTest, AddsATargetAsOftenAsItIsAskedAndRemovesItWhole)
{
    PlainTarget other("other");
    mLogger.AddTarget(&other);
    mLogger.AddTarget(&mTarget);
    Log(ERROR, DBG, 0, "one");
    EXPECT_EQ(mTarget.texts.size(), 2u);
    EXPECT_EQ(other.texts.size(), 1u);
    mLogger.RemoveTarget(&mTarget);
    Log(ERROR, DBG, 0, "two");
    EXPECT_EQ(mTarget.texts.size(), 2u);
    EXPECT_EQ(other.texts.size(), 2u);
    mLogger.RemoveTarget(&other);
}

TEST_F(BuiltInLoggerTest, DeliversInTheOrderOfAttachmentAlsoAfterARemoval)
{
    std::string order;
    PlainTarget first("1");
    PlainTarget second("2");
    PlainTarget third("3");
    for (PlainTarget *target : {&first, &second, &third})
    {
        target->onWrite = [&order, target]
        {
            order += target->name;
        };
        mLogger.AddTarget(target);
    }
    Log(ERROR, DBG, 0, "all");
    mLogger.RemoveTarget(&second);
    Log(ERROR, DBG, 0, "two");
    mLogger.AddTarget(&second);
    Log(ERROR, DBG, 0, "all");
    EXPECT_EQ(order, "12313132");
    for (PlainTarget *target : {&first, &second, &third})
    {
        mLogger.RemoveTarget(target);
    }
}

TEST_F(BuiltInLoggerTest, IgnoresANullTarget)
{
    mLogger.AddTarget(nullptr);
    mLogger.RemoveTarget(nullptr);
    Log(ERROR, DBG, 0, "still here");
    EXPECT_EQ(mTarget.texts.size(), 1u);
}

TEST_F(BuiltInLoggerTest, FindsTheFirstTargetOfAnExactName)
{
    PlainTarget twin;
    mLogger.AddTarget(&twin);
    EXPECT_EQ(mLogger.FindTarget("PlainTarget"), &mTarget);
    EXPECT_EQ(mLogger.FindTarget("plaintarget"), nullptr);
    EXPECT_EQ(mLogger.FindTarget("Plain"), nullptr);
    EXPECT_EQ(mLogger.FindTarget(nullptr), nullptr);
    EXPECT_EQ(mLogger.FindTarget("StdErrLogTarget"), nullptr) << "detached";
    mLogger.RemoveTarget(&twin);
}

TEST_F(BuiltInLoggerTest, HasTwoTargetsOfItsOwn)
{
    EXPECT_STREQ(mLogger.GetStdErrTarget()->GetName(mLogger.GetStdErrTarget()), "StdErrLogTarget");
    EXPECT_STREQ(mLogger.GetStdOutTarget()->GetName(mLogger.GetStdOutTarget()), "StdOutLogTarget");
    EXPECT_EQ(mLogger.GetExtraTarget(), nullptr);
}

TEST_F(BuiltInLoggerTest, RegistersTheLibrarysGroupAsBitEight)
{
    const KeldGroupMask mask = mLogger.RegisterGroup("MRV");
    EXPECT_EQ(mask.low, 0x100u);
    EXPECT_EQ(mask.high, 0u);
    EXPECT_EQ(mLogger.RegisterGroup("MRV").low, 0x100u);
    char names[64];
    mLogger.FormatGroupNames(names, sizeof names, 0x101);
    EXPECT_STREQ(names, "DBG;MRV");
}

TEST_F(BuiltInLoggerTest, FormatsLinesLikeItsTargets)
{
    const LogRecord record{2010, 1, 2, 3, 4, 5, 0, WARN, DBG, "text"};
    char line[64];
    mLogger.FormatLine(line, sizeof line, "#E #L #G #M", &record);
    EXPECT_STREQ(line, "<unknown>   WARN DBG text\n");
}

TEST_F(BuiltInLoggerTest, NamesSeverities)
{
    EXPECT_STREQ(mLogger.GetSeverityName(0), "  OKAY");
    EXPECT_STREQ(mLogger.GetSeverityName(1), "  WARN");
    EXPECT_STREQ(mLogger.GetSeverityName(2), " ERROR");
    EXPECT_STREQ(mLogger.GetSeverityName(3), "ALWAYS");
    EXPECT_STREQ(mLogger.GetSeverityName(4), "??????");
    EXPECT_STREQ(mLogger.GetSeverityName(-1), "??????");
}

std::time_t ToTime(const LogRecord &record)
{
    std::tm fields{};
    fields.tm_year = record.year - 1900;
    fields.tm_mon = record.month - 1;
    fields.tm_mday = record.day;
    fields.tm_hour = record.hour;
    fields.tm_min = record.minute;
    fields.tm_sec = record.second;
    fields.tm_isdst = -1;
    return std::mktime(&fields);
}

TEST_F(BuiltInLoggerTest, StampsWithLocalTimeInWholeSeconds)
{
    LogRecord record{};
    record.millisecond = 77;
    const std::time_t before = std::time(nullptr);
    mLogger.GetTimestamp(&record);
    const std::time_t after = std::time(nullptr);
    EXPECT_EQ(record.millisecond, 0);
    EXPECT_GE(ToTime(record), before);
    EXPECT_LE(ToTime(record), after);
}

TEST_F(BuiltInLoggerTest, WritesTimestampsForLinesAndForFileNames)
{
    const LogRecord record{987, 6, 5, 4, 3, 2, 1, 0, 0, nullptr};
    char text[64];
    mLogger.FormatTimestamp(text, sizeof text, &record);
    EXPECT_STREQ(text, "0987-06-05T04:03:02.001");
    mLogger.FormatFileTimestamp(text, sizeof text, &record);
    EXPECT_STREQ(text, "0987-06-05T04-03-02");
    mLogger.FormatTimestamp(text, 5, &record);
    EXPECT_STREQ(text, "0987");
    mLogger.FormatFileTimestamp(text, 6, &record);
    EXPECT_STREQ(text, "0987-");
}

TEST_F(BuiltInLoggerTest, HandsEveryTargetTheWholeRecord)
{
    const std::time_t before = std::time(nullptr);
    Log(ERROR, DBG | MEM, 0x80000000, "%s: %d", "text", 7);
    const std::time_t after = std::time(nullptr);
    ASSERT_EQ(mTarget.records.size(), 1u);
    EXPECT_EQ(mTarget.texts[0], "text: 7");
    EXPECT_EQ(mTarget.records[0].severity, 2);
    EXPECT_EQ(mTarget.records[0].groups, 0x8000000000000011u);
    EXPECT_EQ(mTarget.records[0].millisecond, 0);
    EXPECT_GE(ToTime(mTarget.records[0]), before);
    EXPECT_LE(ToTime(mTarget.records[0]), after);
}

TEST_F(BuiltInLoggerTest, CutsAMessageAt8191Characters)
{
    for (const uint_size length : {8190u, 8191u, 8192u, 20000u})
    {
        SCOPED_TRACE(length);
        mTarget.texts.clear();
        Log(ERROR, DBG, 0, "%s", std::string(length, 'x').c_str());
        ASSERT_EQ(mTarget.texts.size(), 1u);
        EXPECT_EQ(mTarget.texts[0], std::string(length < 8191 ? length : 8191, 'x'));
    }
}

TEST_F(BuiltInLoggerTest, KeepsErrno)
{
    mTarget.onWrite = []
    {
        errno = EIO;
    };
    errno = ENOENT;
    Log(ERROR, DBG, 0, "text");
    EXPECT_EQ(errno, ENOENT);
}

TEST_F(BuiltInLoggerTest, ATargetMayLogInTheMiddleOfADelivery)
{
    PlainTarget second;
    mLogger.AddTarget(&second);
    mTarget.onWrite = [&]
    {
        if (mTarget.texts.size() == 1)
        {
            Log(ERROR, DBG, 0, "inner");
        }
    };
    Log(ERROR, DBG, 0, "outer");
    EXPECT_EQ(mTarget.texts, (std::vector<std::string>{"outer", "inner"}));
    EXPECT_EQ(second.texts, (std::vector<std::string>{"inner", "outer"}));
    mLogger.RemoveTarget(&second);
}

TEST_F(BuiltInLoggerTest, ATargetMayDetachItselfInTheMiddleOfADelivery)
{
    PlainTarget second("second");
    PlainTarget third("third");
    mLogger.AddTarget(&second);
    mLogger.AddTarget(&third);
    second.onWrite = [&]
    {
        mLogger.RemoveTarget(&second);
    };
    Log(ERROR, DBG, 0, "one");
    Log(ERROR, DBG, 0, "two");
    EXPECT_EQ(mTarget.texts.size(), 2u);
    EXPECT_EQ(second.texts.size(), 1u);
    EXPECT_EQ(third.texts, (std::vector<std::string>{"one", "two"}));
    mLogger.RemoveTarget(&third);
}

TEST_F(BuiltInLoggerTest, ATargetMayDetachOthersFromAnInnerMessage)
{
    PlainTarget second("second");
    PlainTarget third("third");
    mLogger.AddTarget(&second);
    mLogger.AddTarget(&third);
    second.onWrite = [&]
    {
        if (second.texts.size() == 1)
        {
            Log(ERROR, DBG, 0, "inner");
            return;
        }
        mLogger.RemoveTarget(&mTarget);
        mLogger.RemoveTarget(&second);
    };
    Log(ERROR, DBG, 0, "outer");
    EXPECT_EQ(mTarget.texts, (std::vector<std::string>{"outer", "inner"}));
    EXPECT_EQ(third.texts, (std::vector<std::string>{"inner", "outer"}));
    mLogger.RemoveTarget(&third);
}

TEST_F(BuiltInLoggerTest, TheReportersOfAssertionsGoToTheCurrentLogger)
{
    LogRecorder::Clear();
    SetCurrentLogger(LogRecorder::Table());
    ReportOkay("okay");
    ReportWarning("warning");
    ReportError("100%% error");
    SetCurrentLogger(GetBuiltInLogger());
    const std::vector<LogLine> expected = {
        {0, 2, 0, "okay", "okay"}, {1, 1, 0, "warning", "warning"}, {2, 1, 0, "100%% error", "100% error"}};
    EXPECT_EQ(LogRecorder::Lines(), expected);
}
} // namespace
} // namespace Keld::Test
