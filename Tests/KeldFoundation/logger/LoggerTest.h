#pragma once

#include "KeldFoundation/counters/CounterRegistry.h"
#include "KeldFoundation/logger/BuiltInLogger.h"
#include "KeldFoundation/logger/Log.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <utility>
#include <vector>

namespace Keld::Test
{
/// Ends the built-in logger, if there is one.
inline void EndLogger()
{
    GetBuiltInLogger()->Startup();
    GetBuiltInLogger()->Shutdown();
}

/// A target as a module built apart may write one: the record, filled by hand. It keeps what it is given.
struct PlainTarget : IKeldLogTarget
{
    explicit PlainTarget(const char *targetName = "PlainTarget") : IKeldLogTarget{}, name(targetName)
    {
        IKeldLogTarget::GetLevel = [](IKeldLogTarget *self)
        {
            return To(self).level;
        };
        IKeldLogTarget::GetRequiredGroups = [](IKeldLogTarget *self)
        {
            return To(self).required;
        };
        IKeldLogTarget::GetIgnoredGroups = [](IKeldLogTarget *self)
        {
            return To(self).ignored;
        };
        IKeldLogTarget::GetName = [](IKeldLogTarget *self)
        {
            return To(self).name;
        };
        IKeldLogTarget::Detach = [](IKeldLogTarget *self)
        {
            if (To(self).onDetach)
            {
                To(self).onDetach();
            }
            GetBuiltInLogger()->RemoveTarget(self);
        };
        IKeldLogTarget::Write = [](IKeldLogTarget *self, const LogRecord *record)
        {
            To(self).records.push_back(*record);
            To(self).texts.emplace_back(record->message);
            if (To(self).onWrite)
            {
                To(self).onWrite();
            }
            return std::uint8_t{0};
        };
    }

    static PlainTarget &To(IKeldLogTarget *self) { return *static_cast<PlainTarget *>(self); }

    const char *name;
    std::int32_t level = 0;
    std::uint64_t required = 0;
    std::uint64_t ignored = 0;
    std::vector<LogRecord> records; ///< their messages are gone
    std::vector<std::string> texts;
    std::function<void()> onWrite;
    std::function<void()> onDetach;
};

/// A fresh built-in logger for each test.
class LoggerTest : public ::testing::Test
{
protected:
    LoggerTest()
    {
        SetCurrentLogger(GetBuiltInLogger());
        EndLogger();
        mLogger.Startup();
    }

    ~LoggerTest() override { mLogger.Shutdown(); }

    /// Nothing of what follows is wanted on the test's own standard error.
    void DetachStdErr() { mLogger.GetStdErrTarget()->Detach(mLogger.GetStdErrTarget()); }

    static uint64 Warnings()
    {
        uint64 count = 0;
        EXPECT_TRUE(CounterRegistry::Get().GetValue(count, "Logging.Warnings"));
        return count;
    }

    const IKeldLogger &mLogger = *GetBuiltInLogger();
};
} // namespace Keld::Test
