#pragma once

#include "KeldFoundation/CStd/LargeVector.h"

#include <algorithm>

namespace Keld::Common
{
/// Room for bytes, in huge pages where there is much of it. Unlike a vector's its bytes are nobody's elements: none is
/// set, moved or destroyed one by one.
class LargeRoom
{
public:
    LargeRoom() = default;
    ~LargeRoom() { Free(); }

    LargeRoom(const LargeRoom &) = delete;
    LargeRoom &operator=(const LargeRoom &) = delete;

    uint_size GetSize() const { return mSize; }
    char *GetData() { return mData; }
    const char *GetData() const { return mData; }

    /// Makes it at least so large; what stands in it stays. Throws std::bad_alloc, and is as it was then.
    void Reserve(uint_size size)
    {
        if (size > mSize)
        {
            char *const data = LargeAllocator<char>().allocate(size);
            std::copy_n(mData, mSize, data);
            Free();
            mData = data;
            mSize = size;
        }
    }

private:
    void Free()
    {
        if (mData != nullptr)
        {
            LargeAllocator<char>().deallocate(mData, mSize);
        }
    }

    char *mData = nullptr;
    uint_size mSize = 0;
};
} // namespace Keld::Common
