#pragma once

#include "KeldFoundation/logger/LogTarget.h"

#include <cstdio>

namespace Keld::Logger
{
/// Holds the settings of a console target, so that they are there before the target that works on them.
struct ConsoleLogTargetSettings
{
    LogTargetSettings mOwnSettings;
};

/// What the two console targets have in common. It leaves the logger by itself at its end.
class BaseConsoleLogTarget : private ConsoleLogTargetSettings, public LogTarget
{
public:
    ~BaseConsoleLogTarget() override;

protected:
    BaseConsoleLogTarget();

    /// For the constructors of derived classes.
    LogTargetSettings &GetSettings() { return mOwnSettings; }

    /// Puts `Write` into the slot of the record.
    void EnableWriteSlot();

    /// Writes the record as a line. A failure of the stream is not reported, here or anywhere.
    void WriteLine(std::FILE *stream, const LogRecord *record, bool flush);
};
} // namespace Keld::Logger
