#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/logger/IKeldLogTarget.h"

namespace Keld::Logger
{
/// The size of the buffers in which messages are formatted and lines are written, in bytes.
inline constexpr uint_size LineBufferSize = 8192;

/// Writes a record as one line of text, which always ends in exactly one newline of its own and is cut to `size`.
///
/// In a format, these tokens stand for values; all other characters are copied:
///     #D  date and time     #E  application name       #G  tags of the groups, joined by ";"
///     #H  status header     #L  severity's name        #M  message
///     #T  calling thread    ##  a "#"; any other character behind "#" stands for itself
/// A size of 2 or 3, and an empty format, give the newline alone.
void FormatLine(char *buffer, uint_size size, const char *format, const LogRecord *record);
} // namespace Keld::Logger
