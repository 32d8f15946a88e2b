#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld
{
/// The path limit of the whole house: every path buffer of the foundation, the reader and the tools has room for this
/// many bytes, the NUL included. A longer path is refused, never cut.
inline constexpr uint32 PathBufferSize = 1024;
} // namespace Keld
