#include "KeldFoundation/logger/LoggerCore.h"

#include "KeldFoundation/CStd/Assertion.h"
#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/logger/LineFormat.h"
#include "KeldFoundation/logger/Severity.h"
#include "KeldFoundation/logger/Timestamp.h"

#include <algorithm>

namespace Keld::Logger
{
constinit LoggerCreatedHook gLoggerCreatedHook = nullptr;

namespace
{
constexpr const char *UnknownApplication = "<unknown>";

constinit std::atomic<LoggerCore *> gLogger{nullptr};
constinit std::atomic<int32> gUseCount{0};

// Only the making of the logger waits here, so no message does once there is one. Never destroyed: messages may come
// until the very end of the process.
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

LoggerCore *LoggerCore::Get()
{
    return gLogger.load(std::memory_order_acquire);
}

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
    gLogger.store(nullptr, std::memory_order_release);
}

const char *LoggerCore::GetApplicationName()
{
    const LoggerCore *const logger = Get();
    return logger != nullptr ? logger->mApplicationName : UnknownApplication;
}

LoggerCore::LoggerCore()
    : mMutex(true), mReservedSwitch(0), mMuted(0), mLevel(DefaultLevel), mIgnoredGroups(DefaultIgnoredGroups),
      mApplicationName(UnknownApplication), mWarningCounter("Logging.Warnings"), mDelivery(nullptr)
{
    mTargets.reserve(4); // so that nothing can fail any more once the logger is published
    const MutexLock lock(mMutex);
    SetReporters(LogOkayText, LogWarningText, LogErrorText);
}

// The lock is held throughout, so that a message of another thread, which finds the logger as soon as it is published,
// waits until there is a target to take it.
void LoggerCore::Open()
{
    const MutexLock lock(mMutex);
    gLogger.store(this, std::memory_order_release);
    mStdErrTarget.Attach();
}

LoggerCore::~LoggerCore()
{
    const MutexLock lock(mMutex);
    for (uint_size index = mTargets.size(); index > 0; --index)
    {
        if (index <= mTargets.size()) // a target may take others along
        {
            IKeldLogTarget *const target = mTargets[index - 1];
            target->Detach(target);
        }
    }
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

bool LoggerCore::IsWanted(int32 severity, uint64 groups) const
{
    return mMuted.load(std::memory_order_relaxed) == 0 && severity >= mLevel.load(std::memory_order_relaxed) &&
           (groups & mIgnoredGroups.load(std::memory_order_relaxed)) == 0;
}

namespace
{
bool IsWantedBy(IKeldLogTarget *target, const LogRecord &record)
{
    if (record.severity < target->GetLevel(target))
    {
        return false;
    }
    if (record.groups == 0)
    {
        return true;
    }
    if ((record.groups & target->GetIgnoredGroups(target)) != 0)
    {
        return false;
    }
    const uint64 required = target->GetRequiredGroups(target);
    return required == 0 || (record.groups & required) != 0;
}
} // namespace

void LoggerCore::Deliver(const LogRecord &record)
{
    const MutexLock lock(mMutex);
    Delivery delivery(*this);
    while (delivery.mNext < mTargets.size())
    {
        IKeldLogTarget *const target = mTargets[delivery.mNext];
        ++delivery.mNext;
        if (IsWantedBy(target, record))
        {
            target->Write(target, &record);
        }
    }
}

void LoggerCore::SetLevel(int32 severity)
{
    const MutexLock lock(mMutex);
    mLevel.store(severity, std::memory_order_relaxed);
    Keld::Log(ALWAYS, DBG, 0, "Global logging level set to %s\n", GetSeverityName(severity));
}

int32 LoggerCore::GetLevel()
{
    const MutexLock lock(mMutex);
    return mLevel.load(std::memory_order_relaxed);
}

void LoggerCore::SetIgnoredGroups(uint64 groups)
{
    const MutexLock lock(mMutex);
    mIgnoredGroups.store(groups, std::memory_order_relaxed);
}

uint64 LoggerCore::GetIgnoredGroups()
{
    const MutexLock lock(mMutex);
    return mIgnoredGroups.load(std::memory_order_relaxed);
}

void LoggerCore::SetMuted(bool muted)
{
    const MutexLock lock(mMutex);
    mMuted.store(muted ? 1 : 0, std::memory_order_relaxed);
}

void LoggerCore::SetReservedSwitch(bool set)
{
    const MutexLock lock(mMutex);
    mReservedSwitch.store(set ? 1 : 0, std::memory_order_relaxed);
}

void LoggerCore::AddTarget(IKeldLogTarget *target)
{
    if (target == nullptr)
    {
        return;
    }
    const MutexLock lock(mMutex);
    mTargets.push_back(target);
}

void LoggerCore::RemoveTarget(IKeldLogTarget *target)
{
    const MutexLock lock(mMutex);
    for (Delivery *delivery = mDelivery; delivery != nullptr; delivery = delivery->mOuter)
    {
        const auto begin = mTargets.begin();
        const auto passed = static_cast<std::ptrdiff_t>(delivery->mNext);
        delivery->mNext -= static_cast<uint_size>(std::count(begin, begin + passed, target));
    }
    std::erase(mTargets, target);
}

IKeldLogTarget *LoggerCore::FindTarget(const char *name)
{
    const MutexLock lock(mMutex);
    for (IKeldLogTarget *const target : mTargets)
    {
        if (std_strcmp(target->GetName(target), name) == 0)
        {
            return target;
        }
    }
    return nullptr;
}
} // namespace Keld::Logger
