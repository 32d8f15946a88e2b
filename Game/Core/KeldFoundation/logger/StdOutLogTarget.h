#pragma once

#include "KeldFoundation/logger/BaseConsoleLogTarget.h"

namespace Keld::Logger
{
/// Standard output: records of the group GEN, unless they are of the group DBG as well.
class StdOutLogTarget : public BaseConsoleLogTarget
{
public:
    StdOutLogTarget();

    bool Write(const LogRecord *record) override;

private:
    int32 mFlushEachLine = 0; ///< 1 flushes; nothing sets it, so the stream decides when lines come out
};
} // namespace Keld::Logger
