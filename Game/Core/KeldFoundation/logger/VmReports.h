#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld
{
/// Logs the present state of virtual memory. `label` names the place; `name` and `value` are a figure of the caller's
/// choice. A null text counts as empty.
void VmReportStatus(const char *label, const char *name, int32 value);

/// Logs at the end of its scope how much virtual memory has changed in it, when that is more than a threshold. The
/// texts are borrowed. The delta is the figure at the start less that at the end, so a growth is negative; it prints
/// with a plus.
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
