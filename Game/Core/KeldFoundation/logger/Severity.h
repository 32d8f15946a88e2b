#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld::Logger
{
/// The name of a severity, in six characters, or "??????" for a number that is none.
const char *GetSeverityName(int32 severity);
} // namespace Keld::Logger
