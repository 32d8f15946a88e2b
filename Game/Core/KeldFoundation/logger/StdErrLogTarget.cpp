#include "KeldFoundation/logger/StdErrLogTarget.h"

#include "KeldFoundation/logger/Log.h"

namespace Keld::Logger
{
StdErrLogTarget::StdErrLogTarget()
{
    GetSettings() = LogTargetSettings{"StdErrLogTarget", WARN, DBG, GEN, "#E(#T): #L| #M"};
    EnableWriteSlot();
}

bool StdErrLogTarget::Write(const LogRecord *record)
{
    WriteLine(stderr, record, false);
    return true;
}
} // namespace Keld::Logger
