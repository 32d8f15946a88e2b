#include "KeldFoundation/logger/LineFormat.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/counters/StatusHeader.h"
#include "KeldFoundation/logger/GroupRegistry.h"
#include "KeldFoundation/logger/LoggerState.h"
#include "KeldFoundation/logger/Severity.h"
#include "KeldFoundation/logger/Timestamp.h"

#include <pthread.h>

namespace Keld::Logger
{
namespace
{
// The place in the line where the next value goes. Two bytes at the end of the buffer are left for the closing newline
// and the NUL.
class LineCursor
{
public:
    LineCursor(char *buffer, uint_size size) : mStart(buffer), mCursor(buffer), mRoom(size - 2) {}

    bool HasRoom() const { return mRoom >= 2; }

    void PutCharacter(char character)
    {
        *mCursor++ = character;
        --mRoom;
    }

    void PutToken(char token, const LogRecord &record);

    void Close()
    {
        const bool endsInNewline = mCursor != mStart && mCursor[-1] == '\n';
        if (!endsInNewline)
        {
            *mCursor++ = '\n';
        }
        *mCursor = '\0';
    }

private:
    void PutText(const char *text)
    {
        std_strncpy(mCursor, mRoom, TextOrEmpty(text), TRUNCATE);
        Skip();
    }

    // Behind what has just been written. Not by its length, which is unknown for a number that was cut.
    void Skip()
    {
        while (mRoom > 1 && *mCursor != '\0')
        {
            ++mCursor;
            --mRoom;
        }
    }

    char *const mStart;
    char *mCursor;
    uint_size mRoom;
};

void LineCursor::PutToken(char token, const LogRecord &record)
{
    switch (token)
    {
    case 'D':
        FormatTimestamp(mCursor, mRoom, &record);
        return Skip();
    case 'E':
        return PutText(LoggerState::GetApplicationName());
    case 'G':
        gGroupRegistry.FormatNames(mCursor, mRoom, record.groups);
        return Skip();
    case 'H':
        FormatStatusHeader(mCursor, mRoom);
        return Skip();
    case 'L':
        return PutText(GetSeverityName(record.severity));
    case 'M':
        return PutText(record.message);
    case 'T':
        std_snprintf(mCursor, mRoom, "%lu", static_cast<unsigned long>(pthread_self()));
        return Skip();
    default:
        return PutCharacter(token);
    }
}
} // namespace

void FormatLine(char *buffer, uint_size size, const char *format, const LogRecord *record)
{
    if (size == 0)
    {
        return;
    }
    std_strncpy(buffer, size, "\n", TRUNCATE);
    if (size < 4 || format == nullptr)
    {
        return;
    }
    LineCursor cursor(buffer, size);
    while (*format != '\0' && cursor.HasRoom())
    {
        if (*format != '#')
        {
            cursor.PutCharacter(*format++);
            continue;
        }
        ++format;
        if (*format == '\0')
        {
            break;
        }
        cursor.PutToken(*format++, *record);
    }
    cursor.Close();
}
} // namespace Keld::Logger
