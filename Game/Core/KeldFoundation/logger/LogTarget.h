#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/logger/IKeldLogTarget.h"
#include "KeldFoundation/sync/Mutex.h"

#include <atomic>
#include <string>

namespace Keld::Logger
{
/// What a target wants and how it writes.
struct LogTargetSettings
{
    std::string mName;
    int32 mLevel = 0;           ///< severities below are not for this target
    uint64 mRequiredGroups = 0; ///< 0: a record may carry any group
    uint64 mIgnoredGroups = 0;
    std::string mFormat; ///< as FormatLine takes it
};

/// A destination of the built-in logger's lines, as a class behind the record that the logger knows.
///
/// The record lies behind the virtual table: go from one to the other by static_cast alone. Locks are taken in one
/// order everywhere: the logger's, then the target's.
class LogTarget : public IKeldLogTarget
{
public:
    LogTarget(const LogTarget &) = delete;
    LogTarget &operator=(const LogTarget &) = delete;

    virtual ~LogTarget();

    /// Leaves the logger, if attached. For destructors of derived classes, before what `Write` needs is gone.
    virtual void Deactivate();

    virtual const char *GetName();
    virtual const char *GetFormat(const LogRecord *record);

    /// True when the record was taken. Runs under the logger's lock, on the logging thread.
    virtual bool Write(const LogRecord *record) = 0;

    void SetLevel(int32 severity);
    int32 GetLevel();

    /// A group in both masks is only ignored.
    void SetGroups(uint32 requiredLow, uint32 requiredHigh, uint32 ignoredLow, uint32 ignoredHigh);
    uint64 GetRequiredGroups();
    uint64 GetIgnoredGroups();

    /// Joins the built-in logger, whatever the current logger is; without effect while that does not exist.
    void Attach();
    void Detach();
    bool IsAttached();

    /// Takes over all settings. An attached target is attached again, as the last one.
    void Configure(const LogTargetSettings &settings);

protected:
    /// `settings` are the derived class's, already constructed, and outlive this object's use.
    explicit LogTarget(LogTargetSettings *settings);

private:
    std::atomic<uint8> mAttached{0};

protected:
    Mutex mMutex; ///< recursive; guards the settings and the output

private:
    LogTargetSettings *mSettings;
};
} // namespace Keld::Logger
