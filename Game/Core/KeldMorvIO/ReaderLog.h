#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/logger/Log.h"

#include <atomic>

namespace Keld::MORV::Reader
{
/// The mask of the library's own log group, in every message of the reader. Zero until a logger has registered it.
extern std::atomic<uint64> gMorvLogGroups;

// The four kinds of line that the reader writes. Every format begins with "%s: ", whose argument is the signature of
// the logging function: a constant, written out, so that it reads the same from every compiler.

/// A failure: severity ERROR, group DBG. Shown by default.
__attribute__((format(printf, 1, 2))) void LogError(const char *format, ...);

/// Something lost or deleted that work goes on without: severity WARN, group DBG. Shown by default, and counted.
__attribute__((format(printf, 1, 2))) void LogWarning(const char *format, ...);

/// What the reader is doing: severity OKAY, group GEN.
__attribute__((format(printf, 1, 2))) void LogProgress(const char *format, ...);

/// The entry of a function with its arguments: severity OKAY, groups DBG and XTR.
__attribute__((format(printf, 1, 2))) void LogTrace(const char *format, ...);

/// Whether a trace would get further than the logger's filter now. Where one costs more than its call, it is asked
/// first.
bool IsTraceWanted();

/// Logs "%s: %s" with the text of a system error number: as a failure, or as progress when `error` is 0.
void LogErrorText(const char *signature, int error);
} // namespace Keld::MORV::Reader
