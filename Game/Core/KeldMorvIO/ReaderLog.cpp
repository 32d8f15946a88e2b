#include "KeldMorvIO/ReaderLog.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/logger/LineFormat.h"
#include "KeldFoundation/logger/LogFilter.h"
#include "KeldMorvIO/LogCapture.h"
#include "KeldMorvIO/ReaderTypes.h"

#include <cstdarg>

namespace Keld::MORV::Reader
{
constinit std::atomic<uint64> gMorvLogGroups{0};

namespace
{
__attribute__((format(printf, 3, 0))) void LogWithOwnGroup(int32 severity, uint32 groups, const char *format,
                                                           va_list arguments)
{
    const uint64 own = gMorvLogGroups.load(std::memory_order_relaxed);
    LogV(severity, LowWord(own) | groups, HighWord(own), format, arguments);
}

/// Whether a capture of this thread took the line. Not asked for traces, which are many.
__attribute__((format(printf, 2, 0))) bool IsCaptured(int32 severity, const char *format, va_list arguments)
{
    LogCapture *const capture = LogCapture::GetCurrent();
    if (capture == nullptr)
    {
        return false;
    }
    if (severity != OKAY)
    {
        char line[Logger::LineBufferSize];
        std_vsnprintf(line, sizeof line, format, arguments);
        capture->TakeFailure(line);
    }
    return true;
}

__attribute__((format(printf, 3, 0))) void LogOrCapture(int32 severity, uint32 groups, const char *format,
                                                        va_list arguments)
{
    if (!IsCaptured(severity, format, arguments))
    {
        LogWithOwnGroup(severity, groups, format, arguments);
    }
}
} // namespace

void LogError(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogOrCapture(ERROR, DBG, format, arguments);
    va_end(arguments);
}

void LogWarning(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogOrCapture(WARN, DBG, format, arguments);
    va_end(arguments);
}

void LogProgress(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogOrCapture(OKAY, GEN, format, arguments);
    va_end(arguments);
}

void LogTrace(const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogWithOwnGroup(OKAY, DBG | XTR, format, arguments);
    va_end(arguments);
}

bool IsTraceWanted()
{
    const uint64 own = gMorvLogGroups.load(std::memory_order_relaxed);
    return IsLogWanted(OKAY, LowWord(own) | DBG | XTR, HighWord(own));
}

void LogErrorText(const char *signature, int error)
{
    char text[PathBufferSize];
    std_strerror(error, text, sizeof text);
    if (error != 0)
    {
        LogError("%s: %s", signature, text);
    }
    else
    {
        LogProgress("%s: %s", signature, text);
    }
}
} // namespace Keld::MORV::Reader
