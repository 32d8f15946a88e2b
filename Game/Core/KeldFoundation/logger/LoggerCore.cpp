#include "KeldFoundation/logger/LoggerCore.h"

#include "KeldFoundation/CStd/Assertion.h"
#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/logger/LineFormat.h"
#include "KeldFoundation/logger/Log.h"
#include "KeldFoundation/logger/Timestamp.h"

#include <atomic>

namespace Keld::Logger
{
constinit LoggerCreatedHook gLoggerCreatedHook = nullptr;

namespace
{
constinit std::atomic<int32> gUseCount{0};

// Only the creation of the logger waits here: once there is one, no message does. Never destroyed, since messages may
// come until the very end of the process.
Mutex &GetCreationMutex()
{
    static Mutex *const mutex = new Mutex;
    return *mutex;
}

// An assertion's text goes in as the format itself: a '%' in it is read as a conversion.
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wformat-security"
void LogOkayText(const char *text)
{
    Keld::Log(OKAY, GEN, 0, text);
}

void LogWarningText(const char *text)
{
    Keld::Log(WARN, DBG, 0, text);
}

void LogErrorText(const char *text)
{
    Keld::Log(ERROR, DBG, 0, text);
}
#pragma GCC diagnostic pop
} // namespace

LoggerCore &LoggerCore::GetOrCreate()
{
    LoggerCore *const logger = Get();
    return logger != nullptr ? *logger : *Create();
}

LoggerCore *LoggerCore::Create()
{
    {
        const MutexLock lock(GetCreationMutex());
        if (LoggerCore *const other = Get(); other != nullptr)
        {
            return other;
        }
        (new LoggerCore)->Open();
    }
    if (gLoggerCreatedHook != nullptr)
    {
        gLoggerCreatedHook();
    }
    return Get();
}

void LoggerCore::Startup()
{
    if (gUseCount.fetch_add(1, std::memory_order_acq_rel) == 0)
    {
        GetOrCreate();
    }
}

void LoggerCore::Shutdown()
{
    if (gUseCount.fetch_sub(1, std::memory_order_acq_rel) != 1)
    {
        return;
    }
    delete Get(); // what detaches meanwhile still finds the logger
    Publish(nullptr);
}

LoggerCore::LoggerCore() : mWarningCounter("Logging.Warnings")
{
    const MutexLock lock(mMutex);
    SetReporters(LogOkayText, LogWarningText, LogErrorText);
}

// The lock is held throughout, so that a message of another thread, which finds the logger as soon as it is published,
// waits until there is a target to take it.
void LoggerCore::Open()
{
    const MutexLock lock(mMutex);
    Publish(this);
    mStdErrTarget.Attach();
}

LoggerCore::~LoggerCore()
{
    DetachTargets();
}

void LoggerCore::Log(int32 severity, uint64 groups, const char *format, va_list arguments)
{
    if (!IsWanted(severity, groups))
    {
        return;
    }
    if (severity == WARN)
    {
        mWarningCounter.Increment();
    }
    char message[LineBufferSize];
    std_vsnprintf(message, sizeof message, format, arguments);

    LogRecord record{};
    GetTimestamp(&record);
    record.severity = severity;
    record.groups = groups;
    record.message = message;
    Deliver(record);
}
} // namespace Keld::Logger
