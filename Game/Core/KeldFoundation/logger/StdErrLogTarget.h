#pragma once

#include "KeldFoundation/logger/BaseConsoleLogTarget.h"

namespace Keld::Logger
{
/// Standard error: records of the group DBG, unless they are of the group GEN as well.
class StdErrLogTarget : public BaseConsoleLogTarget
{
public:
    StdErrLogTarget();

    bool Write(const LogRecord *record) override;
};
} // namespace Keld::Logger
