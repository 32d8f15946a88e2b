// A logger in C++ that hands its messages to log targets: one written in C++ here, one written in C in ErrorCounter.c.
//
//     TargetLogger DIRECTORY
//
// starts the library for the release that DIRECTORY lies in and prints what the library has to say, as the targets see
// it.
#include "ErrorCounter.h"

#include <KeldLogger.h>
#include <KeldMorvIO.h>

#include <array>
#include <cstdarg>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstring>
#include <ctime>
#include <mutex>
#include <vector>

namespace
{
/// What the logger knows. Never destroyed, because the library may log until the very end of the process.
struct LoggerState
{
    std::recursive_mutex mMutex; ///< guards the targets; a target may log, attach or detach while it writes
    std::vector<IKeldLogTarget *> mTargets;
};

LoggerState &GetState()
{
    static LoggerState *const state = new LoggerState;
    return *state;
}

void AddTarget(IKeldLogTarget *target)
{
    LoggerState &state = GetState();
    const std::lock_guard<std::recursive_mutex> lock(state.mMutex);
    state.mTargets.push_back(target);
}

void RemoveTarget(IKeldLogTarget *target)
{
    LoggerState &state = GetState();
    const std::lock_guard<std::recursive_mutex> lock(state.mMutex);
    std::erase(state.mTargets, target);
}

KeldGroupMask RegisterGroup(const char *)
{
    return KeldGroupMask{0, 1}; // the lowest bit of the high word
}

bool IsWantedBy(IKeldLogTarget *target, const LogRecord &record)
{
    if (record.severity < target->GetLevel(target))
    {
        return false;
    }
    const std::uint64_t required = target->GetRequiredGroups(target);
    const bool ignored = (record.groups & target->GetIgnoredGroups(target)) != 0;
    const bool missing = required != 0 && (record.groups & required) == 0;
    return record.groups == 0 || (!ignored && !missing);
}

LogRecord MakeRecord(std::int32_t severity, std::uint64_t groups, const char *message)
{
    const std::time_t now = std::time(nullptr);
    std::tm local{};
    localtime_r(&now, &local);
    return LogRecord{local.tm_year + 1900,
                     local.tm_mon + 1,
                     local.tm_mday,
                     local.tm_hour,
                     local.tm_min,
                     local.tm_sec,
                     0,
                     severity,
                     groups,
                     message};
}

void Log(std::int32_t severity, std::uint32_t groupLow, std::uint32_t groupHigh, const char *format, va_list arguments)
{
    std::array<char, 8192> message;
    std::vsnprintf(message.data(), message.size(), format, arguments);
    const std::uint64_t groups = static_cast<std::uint64_t>(groupHigh) << 32 | groupLow;
    const LogRecord record = MakeRecord(severity, groups, message.data());

    LoggerState &state = GetState();
    const std::lock_guard<std::recursive_mutex> lock(state.mMutex);
    for (std::size_t index = 0; index < state.mTargets.size(); ++index)
    {
        IKeldLogTarget *const target = state.mTargets[index];
        if (IsWantedBy(target, record))
        {
            target->Write(target, &record);
        }
    }
}

/// The slots that this program needs; the library itself calls `RegisterGroup` and `Log`.
constexpr IKeldLogger MakeTable()
{
    IKeldLogger table{};
    table.GetInterfaceVersion = []
    {
        return std::uint32_t{1};
    };
    table.AddTarget = AddTarget;
    table.RemoveTarget = RemoveTarget;
    table.RegisterGroup = RegisterGroup;
    table.Log = Log;
    return table;
}

constexpr IKeldLogger Logger = MakeTable();

/// A target in C++: a class behind the record. The function of a slot goes from the record to the object by
/// static_cast, which is right wherever the record lies in the object.
class LineTarget : public IKeldLogTarget
{
public:
    LineTarget() : IKeldLogTarget{}
    {
        IKeldLogTarget::GetInterfaceVersion = [](IKeldLogTarget *)
        {
            return std::uint32_t{1};
        };
        IKeldLogTarget::SetLevel = [](IKeldLogTarget *self, std::int32_t severity)
        {
            To(self).mLevel = severity;
        };
        IKeldLogTarget::GetLevel = [](IKeldLogTarget *self)
        {
            return To(self).mLevel;
        };
        IKeldLogTarget::SetGroups = [](IKeldLogTarget *self, std::uint32_t requiredLow, std::uint32_t requiredHigh,
                                       std::uint32_t ignoredLow, std::uint32_t ignoredHigh)
        {
            To(self).mIgnored = static_cast<std::uint64_t>(ignoredHigh) << 32 | ignoredLow;
            To(self).mRequired = (static_cast<std::uint64_t>(requiredHigh) << 32 | requiredLow) & ~To(self).mIgnored;
        };
        IKeldLogTarget::GetRequiredGroups = [](IKeldLogTarget *self)
        {
            return To(self).mRequired;
        };
        IKeldLogTarget::GetIgnoredGroups = [](IKeldLogTarget *self)
        {
            return To(self).mIgnored;
        };
        IKeldLogTarget::GetName = [](IKeldLogTarget *)
        {
            return "LineTarget";
        };
        IKeldLogTarget::GetFormat = [](IKeldLogTarget *, const LogRecord *)
        {
            return "";
        };
        IKeldLogTarget::Attach = [](IKeldLogTarget *self)
        {
            if (To(self).mAttached == 0)
            {
                To(self).mAttached = 1;
                Logger.AddTarget(self);
            }
        };
        IKeldLogTarget::Detach = [](IKeldLogTarget *self)
        {
            if (To(self).mAttached != 0)
            {
                To(self).mAttached = 0;
                Logger.RemoveTarget(self);
            }
        };
        IKeldLogTarget::IsAttached = [](IKeldLogTarget *self)
        {
            return To(self).mAttached;
        };
        IKeldLogTarget::Write = [](IKeldLogTarget *self, const LogRecord *record)
        {
            return static_cast<std::uint8_t>(To(self).WriteLine(*record) ? 1 : 0);
        };
    }

private:
    static LineTarget &To(IKeldLogTarget *self) { return *static_cast<LineTarget *>(self); }

    /// The message without the signature of the function that logged it.
    bool WriteLine(const LogRecord &record)
    {
        const char *const end = std::strstr(record.message, ": ");
        const char *const text = end != nullptr ? end + 2 : record.message;
        return std::printf("%3u  severity %d  %s\n", ++mLines, static_cast<int>(record.severity), text) >= 0;
    }

    std::int32_t mLevel = 0;
    std::uint64_t mRequired = 0;
    std::uint64_t mIgnored = 0;
    std::uint8_t mAttached = 0;
    unsigned mLines = 0;
};
} // namespace

int main(int argumentCount, char **arguments)
{
    if (argumentCount != 2)
    {
        std::fprintf(stderr, "usage: %s DIRECTORY\n", arguments[0]);
        return 2;
    }
    static LineTarget lines;
    lines.SetGroups(&lines, 0, 0, 4, 0); // no traces of calls
    lines.Attach(&lines);
    IKeldLogTarget *const errorCounter = GetErrorCounter(&Logger);
    errorCounter->Attach(errorCounter);

    MorvSetLogger(&Logger);
    const HRESULT result = MorvInitialize(0, 0, 0, arguments[1]);
    std::printf("the library %s, after %u errors\n", result == S_OK ? "has started" : "has not started",
                GetErrorCount());
    MorvShutdown();
    errorCounter->Detach(errorCounter);
    lines.Detach(&lines);
    return 0;
}
