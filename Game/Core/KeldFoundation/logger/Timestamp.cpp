#include "KeldFoundation/logger/Timestamp.h"

#include "KeldFoundation/CStd/CStd.h"

namespace Keld::Logger
{
void GetTimestamp(LogRecord *record)
{
    std_local_time(&record->year, &record->month, &record->day, &record->hour, &record->minute, &record->second,
                   &record->millisecond);
}

uint_size FormatTimestamp(char *buffer, uint_size size, const LogRecord *record)
{
    return std_snprintf(buffer, size, "%04d-%02d-%02dT%02d:%02d:%02d.%03d", record->year, record->month, record->day,
                        record->hour, record->minute, record->second, record->millisecond);
}

uint_size FormatFileTimestamp(char *buffer, uint_size size, const LogRecord *record)
{
    return std_snprintf(buffer, size, "%04d-%02d-%02dT%02d-%02d-%02d", record->year, record->month, record->day,
                        record->hour, record->minute, record->second);
}
} // namespace Keld::Logger
