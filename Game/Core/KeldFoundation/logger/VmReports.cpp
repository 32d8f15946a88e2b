#include "KeldFoundation/logger/VmReports.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/counters/MemoryFigures.h"
#include "KeldFoundation/logger/Log.h"

namespace Keld
{
namespace
{
int GetMemoryMegabytes()
{
    return static_cast<int>(GetVirtualMemorySize() >> 20);
}
} // namespace

void VmReportStatus(const char *label, const char *name, int32 value)
{
    Log(ALWAYS, DBG | MEM, 0, "VM: Current status at \"%s\": %dMB (%s: %d) \n", TextOrEmpty(label),
        GetMemoryMegabytes(), TextOrEmpty(name), value);
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
    Log(ALWAYS, DBG | MEM, 0, "VM: Delta during \"%s\": %s%d (%dMB) (%s: %d) \n", TextOrEmpty(mLabel),
        mDelta < 0 ? "+" : "", -mDelta, GetMemoryMegabytes(), TextOrEmpty(mName), mValue);
}
} // namespace Keld
