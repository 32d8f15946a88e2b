#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/logger/IKeldLogger.h"

#include <atomic>
#include <cstdarg>

namespace Keld
{
/// Severities of a message, in rising order. Signed, as in the logger's table.
enum LogSeverity : int32
{
    OKAY = 0,
    WARN = 1,
    ERROR = 2,
    ALWAYS = 3
};

/// The groups that exist in every logger, as bits of the low word of a message's mask.
enum LogGroup : uint32
{
    DBG = 1,
    GEN = 2,
    XTR = 4,
    PRF = 8,
    MEM = 16,
    DSK = 32,
    NET = 64,
    TST = 128
};

/// Hands one message to the current logger's table, from any thread. `errno` is the same afterwards as before, so a
/// report may read it again behind a log line. A filtered message costs neither a lock nor an allocation.
__attribute__((format(printf, 4, 5))) void Log(int32 severity, uint32 groupLow, uint32 groupHigh, const char *format,
                                               ...);

/// The same with an argument list, which is used up.
__attribute__((format(printf, 4, 0))) void LogV(int32 severity, uint32 groupLow, uint32 groupHigh, const char *format,
                                                va_list arguments);

/// The table that messages go to. The built-in logger stands behind this slot, in BuiltInLogger.cpp, so that it holds
/// that logger's table from load time on.
extern std::atomic<const IKeldLogger *> gCurrentLogger;

/// The table that messages go to: the built-in logger's until another is set.
const IKeldLogger *GetCurrentLogger();

/// Makes `table` the current one. It is borrowed, must not be null, and must outlive the last message.
void SetCurrentLogger(const IKeldLogger *table);
} // namespace Keld
