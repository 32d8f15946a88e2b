#include "KeldFoundation/logger/LogTarget.h"

#include "KeldFoundation/logger/BuiltInLogger.h"
#include "KeldFoundation/logger/FdCapture.h"
#include "KeldFoundation/logger/LoggerTest.h"
#include "KeldFoundation/logger/StdErrLogTarget.h"
#include "KeldFoundation/logger/StdOutLogTarget.h"

#include <chrono>
#include <future>
#include <optional>
#include <thread>
#include <type_traits>

namespace Keld::Test
{
namespace
{
using Logger::LogTarget;
using Logger::LogTargetSettings;

struct SettingsHolder
{
    LogTargetSettings mOwnSettings;
};

/// A target of a derived class that never gets as far as the console.
class BareTarget : public SettingsHolder, public LogTarget
{
public:
    BareTarget() : LogTarget(&mOwnSettings) {}
    ~BareTarget() override { Deactivate(); }

    bool Write(const LogRecord *) override
    {
        ++mWrites;
        return true;
    }

    IKeldLogTarget *Record() { return this; }

    int mWrites = 0;
};

class LogTargetTest : public LoggerTest
{
protected:
    LogTargetTest() { DetachStdErr(); }
};

TEST_F(LogTargetTest, EverySlotOfTheRecordReachesTheObject)
{
    BareTarget target;
    IKeldLogTarget *const record = target.Record();
    EXPECT_EQ(record->GetInterfaceVersion(record), 1u);

    record->SetLevel(record, 2);
    EXPECT_EQ(record->GetLevel(record), 2);
    EXPECT_EQ(target.GetLevel(), 2);
    EXPECT_EQ(target.mOwnSettings.mLevel, 2);

    record->SetGroups(record, 1, 2, 4, 8);
    EXPECT_EQ(record->GetRequiredGroups(record), 0x0000000200000001u);
    EXPECT_EQ(record->GetIgnoredGroups(record), 0x0000000800000004u);
    EXPECT_EQ(target.GetRequiredGroups(), 0x0000000200000001u);
    EXPECT_EQ(target.GetIgnoredGroups(), 0x0000000800000004u);

    EXPECT_STREQ(record->GetName(record), "LogTarget");
    target.mOwnSettings.mFormat = "#M!";
    EXPECT_STREQ(record->GetFormat(record, nullptr), "#M!");

    EXPECT_EQ(record->IsAttached(record), 0);
    record->Attach(record);
    EXPECT_EQ(record->IsAttached(record), 1);
    EXPECT_TRUE(target.IsAttached());
    EXPECT_EQ(mLogger.FindTarget("LogTarget"), record);
    record->Detach(record);
    EXPECT_EQ(record->IsAttached(record), 0);
    EXPECT_EQ(mLogger.FindTarget("LogTarget"), nullptr);
}

TEST_F(LogTargetTest, TheWriteSlotOfTheBaseWritesNothing)
{
    BareTarget target;
    const LogRecord record{};
    EXPECT_EQ(target.Record()->Write(target.Record(), &record), 0);
    EXPECT_EQ(target.mWrites, 0);
}

TEST_F(LogTargetTest, TheRecordLiesBehindTheVirtualTable)
{
    static_assert(!std::is_polymorphic_v<IKeldLogTarget>);
    Logger::StdErrLogTarget target;
    LogTarget *const object = &target;
    IKeldLogTarget *const record = &target;
    EXPECT_NE(static_cast<void *>(object), static_cast<void *>(record));
    EXPECT_EQ(static_cast<LogTarget *>(record), object);
}

TEST_F(LogTargetTest, AGroupInBothMasksIsOnlyIgnored)
{
    BareTarget target;
    target.SetGroups(0x0F, 0xF0, 0x3C, 0x3C);
    EXPECT_EQ(target.GetRequiredGroups(), 0x000000C000000003u);
    EXPECT_EQ(target.GetIgnoredGroups(), 0x0000003C0000003Cu);
}

TEST_F(LogTargetTest, AttachingTwiceAddsOnce)
{
    Logger::StdErrLogTarget target;
    target.SetGroups(0, 0, 0, 0);
    target.Attach();
    target.Attach();
    FdCapture errors(STDERR_FILENO);
    Log(ERROR, 0, 0, "once");
    const std::string text = errors.Stop();
    EXPECT_EQ(text.find("once"), text.rfind("once"));
    EXPECT_NE(text.find("once"), std::string::npos);
}

TEST_F(LogTargetTest, DetachingADetachedTargetDoesNothing)
{
    BareTarget target;
    target.Detach();
    EXPECT_FALSE(target.IsAttached());
    // Somebody else's entry of the same record is not touched.
    mLogger.AddTarget(target.Record());
    target.Detach();
    EXPECT_EQ(mLogger.FindTarget("LogTarget"), target.Record());
    mLogger.RemoveTarget(target.Record());
}

TEST_F(LogTargetTest, DeactivatingLeavesTheLogger)
{
    BareTarget target;
    target.Attach();
    target.Deactivate();
    EXPECT_FALSE(target.IsAttached());
    EXPECT_EQ(mLogger.FindTarget("LogTarget"), nullptr);
    target.Deactivate();
}

TEST_F(LogTargetTest, AConsoleTargetLeavesTheLoggerAtItsEnd)
{
    std::optional<Logger::StdOutLogTarget> target(std::in_place);
    target->Attach();
    EXPECT_EQ(mLogger.FindTarget("StdOutLogTarget"), static_cast<IKeldLogTarget *>(&*target));
    target.reset();
    EXPECT_EQ(mLogger.FindTarget("StdOutLogTarget"), nullptr);
}

TEST_F(LogTargetTest, TheEndOfTheLoggerDetachesItsTargets)
{
    BareTarget target;
    target.Attach();
    mLogger.Shutdown();
    EXPECT_FALSE(target.IsAttached());
    mLogger.Startup();
    EXPECT_EQ(mLogger.FindTarget("LogTarget"), nullptr);
}

TEST_F(LogTargetTest, AttachingWithoutALoggerHasNoEffect)
{
    BareTarget target;
    mLogger.Shutdown();
    target.Attach();
    EXPECT_FALSE(target.IsAttached());
    target.Detach();
    mLogger.Startup();
    target.Attach();
    EXPECT_TRUE(target.IsAttached());
}

TEST_F(LogTargetTest, ATargetAttachesToTheBuiltInLoggerWhateverIsCurrent)
{
    BareTarget target;
    const IKeldLogger nothing{};
    SetCurrentLogger(&nothing);
    target.Attach();
    EXPECT_EQ(mLogger.FindTarget("LogTarget"), target.Record());
    target.Detach();
    SetCurrentLogger(GetBuiltInLogger());
    EXPECT_EQ(mLogger.FindTarget("LogTarget"), nullptr);
}

struct ConsoleDefaults
{
    const char *name;
    uint64 required;
    uint64 ignored;
    const char *format;
};

void ExpectDefaults(LogTarget &target, const ConsoleDefaults &expected)
{
    EXPECT_STREQ(target.GetName(), expected.name);
    EXPECT_EQ(target.GetLevel(), 1);
    EXPECT_EQ(target.GetRequiredGroups(), expected.required);
    EXPECT_EQ(target.GetIgnoredGroups(), expected.ignored);
    EXPECT_STREQ(target.GetFormat(nullptr), expected.format);
    EXPECT_FALSE(target.IsAttached());
}

class OtherConsoleTarget : public Logger::BaseConsoleLogTarget
{
public:
    bool Write(const LogRecord *) override { return false; }
};

TEST_F(LogTargetTest, ConsoleTargetsStartWithTheirOwnSettings)
{
    Logger::StdErrLogTarget errors;
    ExpectDefaults(errors, {"StdErrLogTarget", 1, 2, "#E(#T): #L| #M"});
    Logger::StdOutLogTarget output;
    ExpectDefaults(output, {"StdOutLogTarget", 2, 1, "#M"});
    OtherConsoleTarget other;
    ExpectDefaults(other, {"BaseConsoleLogTarget", 0, 0, "#D| #L| #G| #M"});
}

TEST_F(LogTargetTest, AConsoleTargetWritesThroughItsSlot)
{
    Logger::StdErrLogTarget target;
    IKeldLogTarget *const slots = &target;
    const LogRecord record{2010, 1, 2, 3, 4, 5, 0, ERROR, DBG, "text"};
    FdCapture errors(STDERR_FILENO);
    EXPECT_EQ(slots->Write(slots, &record), 1);
    EXPECT_NE(errors.Stop().find("text"), std::string::npos);
}

// Lets another thread take the target's lock while the target is asked for its format.
class FormattingTarget : public Logger::StdErrLogTarget
{
public:
    ~FormattingTarget() override { mOther.join(); }

    const char *GetFormat(const LogRecord *record) override
    {
        mOther = std::thread(
            [this]
            {
                SetLevel(ERROR);
                mDone.set_value();
            });
        mLockWasFree = mDone.get_future().wait_for(std::chrono::seconds(10)) == std::future_status::ready;
        return StdErrLogTarget::GetFormat(record);
    }

    bool mLockWasFree = false;

private:
    std::promise<void> mDone;
    std::thread mOther;
};

TEST_F(LogTargetTest, ALineIsFormattedBeforeTheLockOfItsTargetIsTaken)
{
    FormattingTarget target;
    const LogRecord record{2010, 1, 2, 3, 4, 5, 0, ERROR, DBG, "text"};
    FdCapture errors(STDERR_FILENO);
    EXPECT_TRUE(target.Write(&record));
    EXPECT_NE(errors.Stop().find("text"), std::string::npos);
    EXPECT_TRUE(target.mLockWasFree);
}

TEST_F(LogTargetTest, WriteIsTrueAlsoWhenTheStreamFails)
{
    Logger::StdErrLogTarget target;
    const LogRecord record{2010, 1, 2, 3, 4, 5, 0, ERROR, DBG, "text"};
    const int saved = dup(STDERR_FILENO);
    close(STDERR_FILENO);
    const bool written = target.Write(&record);
    dup2(saved, STDERR_FILENO);
    close(saved);
    clearerr(stderr);
    EXPECT_TRUE(written);
}

TEST_F(LogTargetTest, ConfiguringTakesOverEverySettingAndReducesTheRequiredGroups)
{
    BareTarget target;
    target.Configure({"name", 2, 0x0000000300000003, 0x0000000200000001, "format"});
    EXPECT_STREQ(target.GetName(), "name");
    EXPECT_EQ(target.GetLevel(), 2);
    EXPECT_EQ(target.GetRequiredGroups(), 0x0000000100000002u);
    EXPECT_EQ(target.GetIgnoredGroups(), 0x0000000200000001u);
    EXPECT_STREQ(target.GetFormat(nullptr), "format");
    EXPECT_FALSE(target.IsAttached());
    EXPECT_EQ(mLogger.FindTarget("name"), nullptr);
}

TEST_F(LogTargetTest, ConfiguringAnAttachedTargetMakesItTheLast)
{
    BareTarget target;
    PlainTarget other("name");
    target.Attach();
    mLogger.AddTarget(&other);
    target.Configure({"name", 0, 0, 0, ""});
    EXPECT_TRUE(target.IsAttached());
    EXPECT_EQ(mLogger.FindTarget("name"), static_cast<IKeldLogTarget *>(&other));
    mLogger.RemoveTarget(&other);
    EXPECT_EQ(mLogger.FindTarget("name"), target.Record());
}
} // namespace
} // namespace Keld::Test
