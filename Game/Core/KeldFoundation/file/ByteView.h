#pragma once

#include "KeldFoundation/CStd/CStd.h"

#include <algorithm>
#include <limits>
#include <type_traits>

namespace Keld
{
/// The one way into a file image in memory: a borrowed range of bytes whose only "no" is null. Nothing that a view
/// gives reaches outside its range.
class ByteView
{
public:
    constexpr ByteView() = default;
    constexpr ByteView(const char *data, uint_size size) : mData(data), mSize(size) {}

    constexpr uint_size GetSize() const { return mSize; }

    /// The record at `offset` bytes from the start, or null.
    template <class Record>
    const Record *At(uint_size offset) const
    {
        return Records<Record>(offset, 1);
    }

    /// `count` records in a row from `offset` on, or null. Divides, because a product could wrap.
    template <class Record>
    const Record *Records(uint_size offset, uint_size count) const
    {
        static_assert(alignof(Record) == 1 && std::is_trivially_copyable_v<Record>);
        const bool fits = offset <= mSize && count <= (mSize - offset) / sizeof(Record);
        return fits ? reinterpret_cast<const Record *>(mData + offset) : nullptr;
    }

    /// The text at `offset`, or null when it does not end inside the range, or not within `capacity` bytes, its NUL
    /// included. No more than those are looked at.
    const char *Text(uint_size offset, uint_size capacity = std::numeric_limits<uint_size>::max()) const
    {
        const uint_size searched = offset < mSize ? std::min(capacity, mSize - offset) : 0;
        const bool ends = searched != 0 && std_memchr(mData + offset, '\0', searched) != nullptr;
        return ends ? mData + offset : nullptr;
    }

    /// The offset behind the last NUL, or 0 when there is none: a text that begins before it ends inside the range. For
    /// checking many texts without reading any of them twice.
    uint_size TextEnd() const
    {
        uint_size end = mSize;
        while (end > 0 && mData[end - 1] != '\0')
        {
            --end;
        }
        return end;
    }

private:
    const char *mData = nullptr;
    uint_size mSize = 0;
};
} // namespace Keld
