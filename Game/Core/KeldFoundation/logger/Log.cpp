#include "KeldFoundation/logger/Log.h"

#include <cerrno>

namespace Keld
{
void Log(int32 severity, uint32 groupLow, uint32 groupHigh, const char *format, ...)
{
    va_list arguments;
    va_start(arguments, format);
    LogV(severity, groupLow, groupHigh, format, arguments);
    va_end(arguments);
}

void LogV(int32 severity, uint32 groupLow, uint32 groupHigh, const char *format, va_list arguments)
{
    const int savedErrno = errno;
    GetCurrentLogger()->Log(severity, groupLow, groupHigh, format, arguments);
    errno = savedErrno;
}

const IKeldLogger *GetCurrentLogger()
{
    return gCurrentLogger.load(std::memory_order_acquire);
}

void SetCurrentLogger(const IKeldLogger *table)
{
    gCurrentLogger.store(table, std::memory_order_release);
}
} // namespace Keld
