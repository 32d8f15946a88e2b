#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld
{
/// One named counter. The registry owns it and protects nothing in it: whoever holds the pointer works on `mValue`
/// directly, with an atomic operation where several threads do.
struct Counter
{
    /// A companion that holds a last value. Only this bit of a kind is looked at.
    static constexpr uint64 KindLastValue = 1;

    uint64 mValue = 0;
    uint64 mKind = 0; ///< 0 for an ordinary counter
};
} // namespace Keld
