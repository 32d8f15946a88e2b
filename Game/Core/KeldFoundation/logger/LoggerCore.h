#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/counters/CounterHandles.h"
#include "KeldFoundation/logger/IKeldLogger.h"
#include "KeldFoundation/logger/Log.h"
#include "KeldFoundation/logger/StdErrLogTarget.h"
#include "KeldFoundation/logger/StdOutLogTarget.h"
#include "KeldFoundation/sync/Mutex.h"

#include <atomic>
#include <vector>

namespace Keld::Logger
{
/// Called right after the built-in logger came into being, if it is set. Nothing in this library sets it.
using LoggerCreatedHook = void (*)();
extern LoggerCreatedHook gLoggerCreatedHook;

/// What the logger starts with: warnings and above, and no traces.
inline constexpr int32 DefaultLevel = WARN;
inline constexpr uint64 DefaultIgnoredGroups = XTR;

/// The state behind the built-in logger's table: one object, made by the first message or by `Startup`.
///
/// What decides whether a message is wanted is read without the lock, so that an unwanted message takes none.
class LoggerCore
{
public:
    /// The one object, or null before it came into being.
    static LoggerCore *Get();
    static LoggerCore &GetOrCreate();

    /// Counted: the first start makes the object, the last stop destroys it. A stop too many is counted as well.
    static void Startup();
    static void Shutdown();

    /// "<unknown>", also before the object came into being.
    static const char *GetApplicationName();

    LoggerCore(const LoggerCore &) = delete;
    LoggerCore &operator=(const LoggerCore &) = delete;

    /// `arguments` are walked once.
    __attribute__((format(printf, 4, 0))) void Log(int32 severity, uint64 groups, const char *format,
                                                   va_list arguments);

    void SetLevel(int32 severity);
    int32 GetLevel();
    void SetIgnoredGroups(uint64 groups);
    uint64 GetIgnoredGroups();
    void SetMuted(bool muted);
    void SetReservedSwitch(bool set);

    void AddTarget(IKeldLogTarget *target); ///< without a test for duplicates; a null is refused
    void RemoveTarget(IKeldLogTarget *target);
    IKeldLogTarget *FindTarget(const char *name);
    IKeldLogTarget *GetStdErrTarget() { return &mStdErrTarget; }
    IKeldLogTarget *GetStdOutTarget() { return &mStdOutTarget; }

private:
    friend class LoggerLock;

    /// One walk over the targets. Walks nest when a target logs, and each must survive what the inner ones detach.
    struct Delivery
    {
        explicit Delivery(LoggerCore &logger) : mInnermost(logger.mDelivery), mOuter(logger.mDelivery)
        {
            mInnermost = this;
        }
        ~Delivery() { mInnermost = mOuter; }

        Delivery(const Delivery &) = delete;
        Delivery &operator=(const Delivery &) = delete;

        Delivery *&mInnermost;
        Delivery *const mOuter;
        uint_size mNext = 0; ///< index of the target that comes next
    };

    LoggerCore();
    ~LoggerCore();

    static LoggerCore *Create();

    void Open();
    bool IsWanted(int32 severity, uint64 groups) const;
    void Deliver(const LogRecord &record);

    Mutex mMutex; ///< recursive: a target may log or detach in the middle of a delivery
    std::vector<IKeldLogTarget *> mTargets;
    std::atomic<uint8> mReservedSwitch; ///< nothing reads it
    std::atomic<uint8> mMuted;
    std::atomic<int32> mLevel;
    std::atomic<uint64> mIgnoredGroups;
    const char *mApplicationName;
    StdErrLogTarget mStdErrTarget;
    StdOutLogTarget mStdOutTarget;
    CounterHandle mWarningCounter;
    Delivery *mDelivery; ///< the innermost one
};

/// Holds the logger's lock to the end of the scope; nothing, if there is no logger. Whoever needs a target's lock as
/// well takes this one first.
class LoggerLock
{
public:
    LoggerLock() : mLogger(LoggerCore::Get())
    {
        if (mLogger != nullptr)
        {
            mLogger->mMutex.Lock();
        }
    }

    ~LoggerLock()
    {
        if (mLogger != nullptr)
        {
            mLogger->mMutex.Unlock();
        }
    }

    LoggerLock(const LoggerLock &) = delete;
    LoggerLock &operator=(const LoggerLock &) = delete;

    LoggerCore *Get() const { return mLogger; }

private:
    LoggerCore *const mLogger;
};
} // namespace Keld::Logger
