#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld
{
/// Whether a message would get further than its filter now: for whoever must do more for it than to hand it over. A
/// logger that was set is given everything.
bool IsLogWanted(int32 severity, uint32 groupLow, uint32 groupHigh);
} // namespace Keld
