#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/logger/IKeldLogTarget.h"

namespace Keld::Logger
{
/// Fills the seven time fields with the present local time, in whole seconds.
void GetTimestamp(LogRecord *record);

/// "2010-01-31T23:59:59.000". The result is the length, or uint_size(-1) when the text was cut.
uint_size FormatTimestamp(char *buffer, uint_size size, const LogRecord *record);

/// "2010-01-31T23-59-59", which is safe in file names.
uint_size FormatFileTimestamp(char *buffer, uint_size size, const LogRecord *record);
} // namespace Keld::Logger
