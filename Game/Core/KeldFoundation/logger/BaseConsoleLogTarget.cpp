#include "KeldFoundation/logger/BaseConsoleLogTarget.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/logger/LineFormat.h"
#include "KeldFoundation/logger/Log.h"

namespace Keld::Logger
{
namespace
{
uint8_t WriteSlot(IKeldLogTarget *self, const LogRecord *record)
{
    return static_cast<LogTarget *>(self)->Write(record) ? 1 : 0;
}
} // namespace

BaseConsoleLogTarget::BaseConsoleLogTarget() : LogTarget(&mOwnSettings)
{
    mOwnSettings = LogTargetSettings{"BaseConsoleLogTarget", WARN, 0, 0, "#D| #L| #G| #M"};
}

BaseConsoleLogTarget::~BaseConsoleLogTarget()
{
    LogTarget::Deactivate();
}

void BaseConsoleLogTarget::EnableWriteSlot()
{
    IKeldLogTarget::Write = WriteSlot;
}

void BaseConsoleLogTarget::WriteLine(std::FILE *stream, const LogRecord *record, bool flush)
{
    char line[LineBufferSize];
    FormatLine(line, sizeof line, GetFormat(record), record);
    const MutexLock lock(mMutex);
    std_fputs(line, stream);
    if (flush)
    {
        std_fflush(stream);
    }
}
} // namespace Keld::Logger
