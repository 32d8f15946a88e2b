#include "KeldFoundation/logger/LoggerState.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/logger/Severity.h"

#include <algorithm>

namespace Keld::Logger
{
constinit std::atomic<LoggerState *> LoggerState::gPublished{nullptr};

namespace
{
constexpr const char *UnknownApplication = "<unknown>";

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

const char *LoggerState::GetApplicationName()
{
    const LoggerState *const state = Get();
    return state != nullptr ? state->mApplicationName : UnknownApplication;
}

LoggerState::LoggerState()
    : mMutex(true), mReservedSwitch(0), mMuted(0), mLevel(DefaultLevel), mIgnoredGroups(DefaultIgnoredGroups),
      mApplicationName(UnknownApplication), mDelivery(nullptr)
{
    mTargets.reserve(4); // so that nothing can fail any more once the logger is published
}

void LoggerState::SetLevel(int32 severity)
{
    const MutexLock lock(mMutex);
    mLevel.store(severity, std::memory_order_relaxed);
    Log(ALWAYS, DBG, 0, "Global logging level set to %s\n", GetSeverityName(severity));
}

int32 LoggerState::GetLevel()
{
    const MutexLock lock(mMutex);
    return mLevel.load(std::memory_order_relaxed);
}

void LoggerState::SetIgnoredGroups(uint64 groups)
{
    const MutexLock lock(mMutex);
    mIgnoredGroups.store(groups, std::memory_order_relaxed);
}

uint64 LoggerState::GetIgnoredGroups()
{
    const MutexLock lock(mMutex);
    return mIgnoredGroups.load(std::memory_order_relaxed);
}

void LoggerState::SetMuted(bool muted)
{
    const MutexLock lock(mMutex);
    mMuted.store(muted ? 1 : 0, std::memory_order_relaxed);
}

void LoggerState::SetReservedSwitch(bool set)
{
    const MutexLock lock(mMutex);
    mReservedSwitch.store(set ? 1 : 0, std::memory_order_relaxed);
}

void LoggerState::AddTarget(IKeldLogTarget *target)
{
    if (target == nullptr)
    {
        return;
    }
    const MutexLock lock(mMutex);
    mTargets.push_back(target);
}

void LoggerState::RemoveTarget(IKeldLogTarget *target)
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

IKeldLogTarget *LoggerState::FindTarget(const char *name)
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

void LoggerState::Deliver(const LogRecord &record)
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

void LoggerState::DetachTargets()
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
} // namespace Keld::Logger
