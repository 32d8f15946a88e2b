#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld::MORV::Reader
{
/// Where the decoders take their compressed bytes from.
class ILzmaIn
{
public:
    /// Gives the next chunk, borrowed until the next call. On false nothing changes, `data` and `size` included.
    virtual bool Read(const void *&data, uint32 &size) = 0;

    /// All compressed bytes of the source.
    virtual uint32 GetSize() = 0;

    /// The bytes that `Read` has not yet given out.
    virtual uint32 GetRemaining() = 0;

protected:
    ~ILzmaIn() = default;
};
} // namespace Keld::MORV::Reader
