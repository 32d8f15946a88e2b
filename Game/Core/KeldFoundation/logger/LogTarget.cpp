#include "KeldFoundation/logger/LogTarget.h"

#include "KeldFoundation/logger/LoggerState.h"

namespace Keld::Logger
{
namespace
{
LogTarget &ToTarget(IKeldLogTarget *record)
{
    return *static_cast<LogTarget *>(record);
}

// The functions of the slots, which have C's calling form.
uint32_t GetInterfaceVersionSlot(IKeldLogTarget *)
{
    return 1;
}

void SetLevelSlot(IKeldLogTarget *self, int32_t severity)
{
    ToTarget(self).SetLevel(severity);
}

int32_t GetLevelSlot(IKeldLogTarget *self)
{
    return ToTarget(self).GetLevel();
}

void SetGroupsSlot(IKeldLogTarget *self, uint32_t requiredLow, uint32_t requiredHigh, uint32_t ignoredLow,
                   uint32_t ignoredHigh)
{
    ToTarget(self).SetGroups(requiredLow, requiredHigh, ignoredLow, ignoredHigh);
}

uint64_t GetRequiredGroupsSlot(IKeldLogTarget *self)
{
    return ToTarget(self).GetRequiredGroups();
}

uint64_t GetIgnoredGroupsSlot(IKeldLogTarget *self)
{
    return ToTarget(self).GetIgnoredGroups();
}

const char *GetNameSlot(IKeldLogTarget *self)
{
    return ToTarget(self).GetName();
}

const char *GetFormatSlot(IKeldLogTarget *self, const LogRecord *record)
{
    return ToTarget(self).GetFormat(record);
}

void AttachSlot(IKeldLogTarget *self)
{
    ToTarget(self).Attach();
}

void DetachSlot(IKeldLogTarget *self)
{
    ToTarget(self).Detach();
}

uint8_t IsAttachedSlot(IKeldLogTarget *self)
{
    return ToTarget(self).IsAttached() ? 1 : 0;
}

// Each class that can write puts a function of its own into this slot.
uint8_t WriteNothingSlot(IKeldLogTarget *, const LogRecord *)
{
    return 0;
}

constexpr IKeldLogTarget Slots = {
    GetInterfaceVersionSlot, SetLevelSlot,    GetLevelSlot,  SetGroupsSlot, GetRequiredGroupsSlot,
    GetIgnoredGroupsSlot,    GetNameSlot,     GetFormatSlot, AttachSlot,    DetachSlot,
    IsAttachedSlot,          WriteNothingSlot};

// The getters take no lock, so the numbers of the settings are read and written atomically.
template <class Number>
Number Read(Number &number)
{
    return std::atomic_ref<Number>(number).load(std::memory_order_relaxed);
}

template <class Number>
void Store(Number &number, Number value)
{
    std::atomic_ref<Number>(number).store(value, std::memory_order_relaxed);
}
} // namespace

LogTarget::LogTarget(LogTargetSettings *settings) : IKeldLogTarget(Slots), mMutex(true), mSettings(settings)
{
    mSettings->mName = "LogTarget";
}

LogTarget::~LogTarget() = default;

void LogTarget::Deactivate()
{
    const LoggerLock loggerLock;
    const MutexLock lock(mMutex);
    Detach();
}

const char *LogTarget::GetName()
{
    return mSettings->mName.c_str();
}

const char *LogTarget::GetFormat(const LogRecord *)
{
    return mSettings->mFormat.c_str();
}

void LogTarget::SetLevel(int32 severity)
{
    const MutexLock lock(mMutex);
    Store(mSettings->mLevel, severity);
}

int32 LogTarget::GetLevel()
{
    return Read(mSettings->mLevel);
}

void LogTarget::SetGroups(uint32 requiredLow, uint32 requiredHigh, uint32 ignoredLow, uint32 ignoredHigh)
{
    const MutexLock lock(mMutex);
    Store(mSettings->mRequiredGroups, JoinWords(requiredLow & ~ignoredLow, requiredHigh & ~ignoredHigh));
    Store(mSettings->mIgnoredGroups, JoinWords(ignoredLow, ignoredHigh));
}

uint64 LogTarget::GetRequiredGroups()
{
    return Read(mSettings->mRequiredGroups);
}

uint64 LogTarget::GetIgnoredGroups()
{
    return Read(mSettings->mIgnoredGroups);
}

// Under the logger's lock, so that the mark and the logger's list change together. Not under the target's: the logger
// calls this while it is being made.
void LogTarget::Attach()
{
    const LoggerLock loggerLock;
    LoggerState *const logger = loggerLock.Get();
    if (logger != nullptr && mAttached.load(std::memory_order_relaxed) == 0)
    {
        mAttached.store(1, std::memory_order_relaxed);
        logger->AddTarget(this);
    }
}

void LogTarget::Detach()
{
    const LoggerLock loggerLock;
    if (mAttached.load(std::memory_order_relaxed) == 0)
    {
        return;
    }
    mAttached.store(0, std::memory_order_relaxed);
    if (LoggerState *const logger = loggerLock.Get(); logger != nullptr)
    {
        logger->RemoveTarget(this);
    }
}

bool LogTarget::IsAttached()
{
    return mAttached.load(std::memory_order_relaxed) != 0;
}

void LogTarget::Configure(const LogTargetSettings &settings)
{
    const LoggerLock loggerLock;
    const MutexLock lock(mMutex);
    const bool wasAttached = IsAttached();
    Detach();
    mSettings->mName = settings.mName;
    mSettings->mFormat = settings.mFormat;
    Store(mSettings->mLevel, settings.mLevel);
    Store(mSettings->mRequiredGroups, settings.mRequiredGroups);
    Store(mSettings->mIgnoredGroups, settings.mIgnoredGroups);
    if (wasAttached)
    {
        Attach();
    }
    SetLevel(settings.mLevel);
    SetGroups(LowWord(settings.mRequiredGroups), HighWord(settings.mRequiredGroups), LowWord(settings.mIgnoredGroups),
              HighWord(settings.mIgnoredGroups));
}
} // namespace Keld::Logger
