#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldMorvIO/blocks/AsyncFile.h"
#include "KeldMorvIO/blocks/CompressedFormat.h"
#include "KeldMorvIO/blocks/ILzmaIn.h"

namespace Keld::MORV::Reader
{
/// The compressed bytes of a file range, chunk by chunk, for a decoder that tries a stream first and one that starts
/// over. The memory lies in the object, which is meant to stand on the stack.
class ChunkedInput final : public ILzmaIn
{
public:
    /// How many bytes of the older chunk can be kept in front of a new one.
    static constexpr uint32 MostKept = 512;

    /// Only the low 32 bits of `offset` count, and the running offset wraps there.
    /// \param chunkSize `MostKept` to `InputChunkSize`. Only tests take less than the most.
    ChunkedInput(AsyncFile file, uint64 offset, uint32 size, uint32 chunkSize = InputChunkSize);

    ChunkedInput(const ChunkedInput &) = delete;
    ChunkedInput &operator=(const ChunkedInput &) = delete;

    /// Whether all can be read a second time, which a pipe does not do. A single chunk needs no second read.
    bool CanRewind() const;

    /// Starts over, in front of the first chunk.
    void Rewind();

    /// Reads the next chunk, of 0 bytes when there is none, and moves the last `kept` bytes of the older one in front
    /// of it. On false the read failed or was short.
    bool ReadChunk(uint32 kept = 0);

    bool Read(const void *&data, uint32 &size) override;
    uint32 GetSize() override { return mSize; }
    uint32 GetRemaining() override { return mSize - mConsumed; }

    const uint8 *Chunk() const { return mMemory + MostKept; }
    uint32 ChunkSize() const { return mFilled; }
    const uint8 *End() const { return Chunk() + mFilled; }

    bool IsFirst() const { return mConsumed == mFilled; }
    bool IsLast() const { return mConsumed == mSize; }

private:
    AsyncFile mFile;
    uint32 mStart; ///< low word of the offset of the range
    uint32 mSize;
    uint32 mChunkSize;
    uint32 mConsumed = 0;    ///< bytes of the range that were read
    uint32 mFilled = 0;      ///< bytes of the chunk that is there
    bool mIsWaiting = false; ///< the chunk that is there is the next one
    uint8 mMemory[MostKept + InputChunkSize];
};
} // namespace Keld::MORV::Reader
