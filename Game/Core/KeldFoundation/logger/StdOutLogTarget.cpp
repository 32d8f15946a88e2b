#include "KeldFoundation/logger/StdOutLogTarget.h"

#include "KeldFoundation/logger/Log.h"

namespace Keld::Logger
{
StdOutLogTarget::StdOutLogTarget()
{
    GetSettings() = LogTargetSettings{"StdOutLogTarget", WARN, GEN, DBG, "#M"};
    EnableWriteSlot();
}

bool StdOutLogTarget::Write(const LogRecord *record)
{
    WriteLine(stdout, record, mFlushEachLine == 1);
    return true;
}
} // namespace Keld::Logger
