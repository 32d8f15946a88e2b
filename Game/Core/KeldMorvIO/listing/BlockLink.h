#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <cstddef>

namespace Keld::MORV::Reader
{
/// A pointer to something else in the same block of less than 2^31 bytes, in 4 bytes on every platform: the distance in
/// bytes from this field. It may not be copied or moved alone; a whole block may. Zeroed memory is a null link.
template <class Target>
class BlockLink
{
public:
    BlockLink() = default;

    BlockLink(const BlockLink &) = delete;
    BlockLink &operator=(const BlockLink &) = delete;

    BlockLink &operator=(Target *target)
    {
        mDistance = target != nullptr ? static_cast<int32>(AddressOf(target) - AddressOf(this)) : 0;
        return *this;
    }

    Target *Get() const
    {
        char *const here = const_cast<char *>(AddressOf(this));
        return mDistance != 0 ? static_cast<Target *>(static_cast<void *>(here + mDistance)) : nullptr;
    }
    operator Target *() const { return Get(); }
    Target *operator->() const { return Get(); }

private:
    static const char *AddressOf(const void *place) { return static_cast<const char *>(place); }

    int32 mDistance = 0; ///< no field links to itself, so that 0 is free to mean null
};
} // namespace Keld::MORV::Reader
