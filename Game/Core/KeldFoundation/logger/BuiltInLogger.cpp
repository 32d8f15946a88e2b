#include "KeldFoundation/logger/BuiltInLogger.h"

#include "KeldFoundation/logger/GroupRegistry.h"
#include "KeldFoundation/logger/LineFormat.h"
#include "KeldFoundation/logger/Log.h"
#include "KeldFoundation/logger/LoggerCore.h"
#include "KeldFoundation/logger/Severity.h"
#include "KeldFoundation/logger/Timestamp.h"

namespace Keld
{
namespace
{
// The functions of the table, in the order of its slots. The logger is there once `Startup` or a message has created
// it; before, those that work on it do nothing, and answer with its defaults.

using Logger::LoggerCore;

uint32_t GetInterfaceVersion()
{
    return 1;
}

void SetLevel(int32_t severity)
{
    if (LoggerCore *const logger = LoggerCore::Get(); logger != nullptr)
    {
        logger->SetLevel(severity);
    }
}

int32_t GetLevel()
{
    LoggerCore *const logger = LoggerCore::Get();
    return logger != nullptr ? logger->GetLevel() : Logger::DefaultLevel;
}

void SetIgnoredGroups(uint32_t low, uint32_t high)
{
    if (LoggerCore *const logger = LoggerCore::Get(); logger != nullptr)
    {
        logger->SetIgnoredGroups(JoinWords(low, high));
    }
}

uint64_t GetIgnoredGroups()
{
    LoggerCore *const logger = LoggerCore::Get();
    return logger != nullptr ? logger->GetIgnoredGroups() : Logger::DefaultIgnoredGroups;
}

void SetMuted(bool muted)
{
    if (LoggerCore *const logger = LoggerCore::Get(); logger != nullptr)
    {
        logger->SetMuted(muted);
    }
}

void Mute()
{
    SetMuted(true);
}

void Unmute()
{
    SetMuted(false);
}

void SwitchReserved(bool set)
{
    if (LoggerCore *const logger = LoggerCore::Get(); logger != nullptr)
    {
        logger->SetReservedSwitch(set);
    }
}

void SetReservedSwitch()
{
    SwitchReserved(true);
}

void ClearReservedSwitch()
{
    SwitchReserved(false);
}

void AddTarget(IKeldLogTarget *target)
{
    if (LoggerCore *const logger = LoggerCore::Get(); logger != nullptr)
    {
        logger->AddTarget(target);
    }
}

void RemoveTarget(IKeldLogTarget *target)
{
    if (LoggerCore *const logger = LoggerCore::Get(); logger != nullptr)
    {
        logger->RemoveTarget(target);
    }
}

IKeldLogTarget *FindTarget(const char *name)
{
    LoggerCore *const logger = LoggerCore::Get();
    return logger != nullptr && name != nullptr ? logger->FindTarget(name) : nullptr;
}

IKeldLogTarget *GetStdOutTarget()
{
    LoggerCore *const logger = LoggerCore::Get();
    return logger != nullptr ? logger->GetStdOutTarget() : nullptr;
}

IKeldLogTarget *GetStdErrTarget()
{
    LoggerCore *const logger = LoggerCore::Get();
    return logger != nullptr ? logger->GetStdErrTarget() : nullptr;
}

IKeldLogTarget *GetExtraTarget()
{
    return nullptr;
}

KeldGroupMask RegisterGroup(const char *tag)
{
    const uint64 mask = Logger::gGroupRegistry.Register(tag);
    return KeldGroupMask{LowWord(mask), HighWord(mask)};
}

void FormatGroupNames(char *buffer, size_t size, uint64_t mask)
{
    Logger::gGroupRegistry.FormatNames(buffer, size, mask);
}

void FormatTimestamp(char *buffer, size_t size, const LogRecord *record)
{
    Logger::FormatTimestamp(buffer, size, record);
}

void FormatFileTimestamp(char *buffer, size_t size, const LogRecord *record)
{
    Logger::FormatFileTimestamp(buffer, size, record);
}

__attribute__((format(printf, 4, 0))) void LogMessage(int32_t severity, uint32_t groupLow, uint32_t groupHigh,
                                                      const char *format, va_list arguments)
{
    LoggerCore::GetOrCreate().Log(severity, JoinWords(groupLow, groupHigh), format, arguments);
}
} // namespace

constinit std::atomic<const IKeldLogger *> gCurrentLogger{&gBuiltInLogger};

constinit const IKeldLogger gBuiltInLogger = {GetInterfaceVersion,
                                              LoggerCore::Startup,
                                              LoggerCore::Shutdown,
                                              SetLevel,
                                              GetLevel,
                                              SetIgnoredGroups,
                                              GetIgnoredGroups,
                                              Mute,
                                              Unmute,
                                              SetReservedSwitch,
                                              ClearReservedSwitch,
                                              AddTarget,
                                              RemoveTarget,
                                              FindTarget,
                                              GetStdOutTarget,
                                              GetStdErrTarget,
                                              GetExtraTarget,
                                              RegisterGroup,
                                              FormatGroupNames,
                                              Logger::FormatLine,
                                              Logger::GetSeverityName,
                                              LoggerCore::GetApplicationName,
                                              Logger::GetTimestamp,
                                              FormatTimestamp,
                                              FormatFileTimestamp,
                                              LogMessage};

const IKeldLogger *GetBuiltInLogger()
{
    return &gBuiltInLogger;
}
} // namespace Keld
