#pragma once

#include "KeldMorvIO/blocks/ILzmaIn.h"

namespace Keld::MORV::Reader
{
/// Compressed bytes in memory, borrowed. `Read` gives all of them however often it is called, and nothing ever remains.
class LzmaInBuffer final : public ILzmaIn
{
public:
    LzmaInBuffer(const void *data, uint32 size) : mData(data), mSize(size) {}

    bool Read(const void *&data, uint32 &size) override
    {
        data = mData;
        size = mSize;
        return true;
    }

    uint32 GetSize() override { return mSize; }
    uint32 GetRemaining() override { return 0; }

private:
    const void *mData;
    uint32 mSize;
};
} // namespace Keld::MORV::Reader
