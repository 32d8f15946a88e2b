#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/logger/IKeldLogTarget.h"
#include "KeldFoundation/logger/Log.h"
#include "KeldFoundation/sync/Mutex.h"

#include <atomic>
#include <vector>

namespace Keld::Logger
{
/// What the logger starts with: warnings and above, and no traces.
inline constexpr int32 DefaultLevel = WARN;
inline constexpr uint64 DefaultIgnoredGroups = XTR;

/// What the built-in logger wants, and the targets that it delivers to: all of it that the targets themselves reach.
///
/// What decides whether a message is wanted is read without the lock, so that an unwanted message takes none.
class LoggerState
{
public:
    /// That of the one logger, or null while there is none.
    static LoggerState *Get() { return gPublished.load(std::memory_order_acquire); }

    /// "<unknown>", also while there is no logger.
    static const char *GetApplicationName();

    LoggerState(const LoggerState &) = delete;
    LoggerState &operator=(const LoggerState &) = delete;

    void SetLevel(int32 severity);
    int32 GetLevel();
    void SetIgnoredGroups(uint64 groups);
    uint64 GetIgnoredGroups();
    void SetMuted(bool muted);
    void SetReservedSwitch(bool set);

    void AddTarget(IKeldLogTarget *target); ///< without a test for duplicates; a null is refused
    void RemoveTarget(IKeldLogTarget *target);
    IKeldLogTarget *FindTarget(const char *name);

    /// Whether a message gets past the filter now. Takes no lock.
    bool IsWanted(int32 severity, uint64 groups) const
    {
        return mMuted.load(std::memory_order_relaxed) == 0 && severity >= mLevel.load(std::memory_order_relaxed) &&
               (groups & mIgnoredGroups.load(std::memory_order_relaxed)) == 0;
    }

protected:
    LoggerState();
    ~LoggerState() = default;

    /// Makes `state` the one that `Get` gives; null takes it back.
    static void Publish(LoggerState *state) { gPublished.store(state, std::memory_order_release); }

    /// Writes the record to every target that wants it, in the order of attachment.
    void Deliver(const LogRecord &record);

    /// Tells every target to detach itself, the last one first.
    void DetachTargets();

    Mutex mMutex; ///< recursive: a target may log or detach in the middle of a delivery

private:
    friend class LoggerLock;

    /// One walk over the targets. Walks nest when a target logs, and each must survive what the inner ones detach.
    struct Delivery
    {
        explicit Delivery(LoggerState &state) : mInnermost(state.mDelivery), mOuter(state.mDelivery)
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

    static std::atomic<LoggerState *> gPublished;

    std::vector<IKeldLogTarget *> mTargets;
    std::atomic<uint8> mReservedSwitch; ///< nothing reads it
    std::atomic<uint8> mMuted;
    std::atomic<int32> mLevel;
    std::atomic<uint64> mIgnoredGroups;
    const char *mApplicationName;
    Delivery *mDelivery; ///< the innermost one
};

/// Holds the logger's lock to the end of the scope; nothing, if there is no logger. Whoever needs a target's lock as
/// well takes this one first.
class LoggerLock
{
public:
    LoggerLock() : mState(LoggerState::Get())
    {
        if (mState != nullptr)
        {
            mState->mMutex.Lock();
        }
    }

    ~LoggerLock()
    {
        if (mState != nullptr)
        {
            mState->mMutex.Unlock();
        }
    }

    LoggerLock(const LoggerLock &) = delete;
    LoggerLock &operator=(const LoggerLock &) = delete;

    LoggerState *Get() const { return mState; }

private:
    LoggerState *const mState;
};
} // namespace Keld::Logger
