#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld
{
/// Logs the present state of virtual memory. `label` says where, `name` and `value` what else is worth knowing there;
/// a null text counts as empty.
void VmReportStatus(const char *label, const char *name, int32 value);

/// Logs at the end of its scope by how much virtual memory has grown in it, when that is more than a threshold. The
/// texts are borrowed. A delta is the excess at the start over the end: a growth is negative and prints with a plus.
class VmDeltaReport
{
public:
    VmDeltaReport(const char *label, const char *name, int32 value, int32 threshold);
    ~VmDeltaReport();

    VmDeltaReport(const VmDeltaReport &) = delete;
    VmDeltaReport &operator=(const VmDeltaReport &) = delete;

protected:
    const char *mLabel;
    const char *mName;
    int32 mValue;
    int32 mDelta;     ///< always 0 where memory is not measured
    int32 mThreshold; ///< below 0, a delta of 0 is reported as well
};
} // namespace Keld
