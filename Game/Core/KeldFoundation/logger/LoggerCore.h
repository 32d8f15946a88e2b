#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/counters/CounterHandles.h"
#include "KeldFoundation/logger/IKeldLogTarget.h"
#include "KeldFoundation/logger/LoggerState.h"
#include "KeldFoundation/logger/StdErrLogTarget.h"
#include "KeldFoundation/logger/StdOutLogTarget.h"

#include <cstdarg>

namespace Keld::Logger
{
/// Called right after the built-in logger is created, if it is set. Nothing in this library sets it.
using LoggerCreatedHook = void (*)();
extern LoggerCreatedHook gLoggerCreatedHook;

/// The object behind the built-in logger's table, created by the first message or by `Startup`: its state, the console
/// targets that it owns, and what counts its warnings.
class LoggerCore : public LoggerState
{
public:
    /// The one object, or null before its creation.
    static LoggerCore *Get() { return static_cast<LoggerCore *>(LoggerState::Get()); }
    static LoggerCore &GetOrCreate();

    /// Counted: the first start creates the object, the last stop destroys it. A stop too many is counted as well.
    static void Startup();
    static void Shutdown();

    /// `arguments` are walked once.
    __attribute__((format(printf, 4, 0))) void Log(int32 severity, uint64 groups, const char *format,
                                                   va_list arguments);

    IKeldLogTarget *GetStdErrTarget() { return &mStdErrTarget; }
    IKeldLogTarget *GetStdOutTarget() { return &mStdOutTarget; }

private:
    LoggerCore();
    ~LoggerCore();

    static LoggerCore *Create();

    void Open();

    StdErrLogTarget mStdErrTarget;
    StdOutLogTarget mStdOutTarget;
    CounterHandle mWarningCounter;
};
} // namespace Keld::Logger
