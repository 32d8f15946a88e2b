#include "KeldMorvIO/blocks/ChunkedInput.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/blocks/AsyncRequest.h"

#include <algorithm>

namespace Keld::MORV::Reader
{
ChunkedInput::ChunkedInput(AsyncFile file, uint64 offset, uint32 size, uint32 chunkSize)
    : mFile(file), mStart(static_cast<uint32>(offset)), mSize(size), mChunkSize(chunkSize)
{
}

bool ChunkedInput::CanRewind() const
{
    return mSize <= mChunkSize || AsyncHasPositions(mFile);
}

void ChunkedInput::Rewind()
{
    if (IsFirst())
    {
        mIsWaiting = mFilled != 0;
        return;
    }
    mConsumed = 0;
    mFilled = 0;
}

bool ChunkedInput::ReadChunk(uint32 kept)
{
    if (mIsWaiting)
    {
        mIsWaiting = false;
        return true;
    }
    uint8 *const chunk = mMemory + MostKept;
    std_memcpy(chunk - kept, kept, End() - kept, kept);
    const uint32 size = std::min(mSize - mConsumed, mChunkSize);
    uint32 bytesRead = 0;
    if (!AsyncRead(mFile, mStart + mConsumed, size, &bytesRead, chunk) || bytesRead != size)
    {
        return false;
    }
    mConsumed += size;
    mFilled = size;
    return true;
}

bool ChunkedInput::Read(const void *&data, uint32 &size)
{
    if (!ReadChunk())
    {
        return false;
    }
    data = Chunk();
    size = mFilled;
    return true;
}
} // namespace Keld::MORV::Reader
