#include "KeldFoundation/counters/VmReports.h"

#include "KeldFoundation/logger/Log.h"

namespace Keld
{
namespace
{
constexpr int MemoryMegabytes = 0; // not measured on this platform

const char *OrEmpty(const char *text)
{
    return text != nullptr ? text : "";
}
} // namespace

void VmReportStatus(const char *label, const char *name, int32 value)
{
    Log(ALWAYS, DBG | MEM, 0, "VM: Current status at \"%s\": %dMB (%s: %d) \n", OrEmpty(label), MemoryMegabytes,
        OrEmpty(name), value);
}

VmDeltaReport::VmDeltaReport(const char *label, const char *name, int32 value, int32 threshold)
    : mLabel(label), mName(name), mValue(value), mDelta(0), mThreshold(threshold)
{
}

VmDeltaReport::~VmDeltaReport()
{
    const int32 size = mDelta < 0 ? -mDelta : mDelta;
    if (size <= mThreshold)
    {
        return;
    }
    Log(ALWAYS, DBG | MEM, 0, "VM: Delta during \"%s\": %s%d (%dMB) (%s: %d) \n", OrEmpty(mLabel),
        mDelta < 0 ? "+" : "", -mDelta, MemoryMegabytes, OrEmpty(mName), mValue);
}
} // namespace Keld
