#pragma once

#include "Tools/TreeReader/DiskFile.h"

#include "KeldMorvIO/blocks/CompressedFormat.h"
#include "KeldMorvIO/blocks/ILzmaIn.h"

namespace Keld::TreeReader
{
/// How wide the running offset of a decoder's reads is. The library's zlib adapter has 32 bits, and wraps.
enum class OffsetWidth
{
    Bits32,
    Bits64
};

/// The stored form of a file as a decoder takes it: chunk by chunk, each of the size that the library reads.
class StoredBytes final : public MORV::Reader::ILzmaIn
{
public:
    /// \param file borrowed.
    StoredBytes(const DiskFile &file, uint64 offset, uint32 size, OffsetWidth width)
        : mFile(file), mOffset(offset), mSize(size), mRemaining(size), mWidth(width)
    {
    }

    bool Read(const void *&data, uint32 &size) override;
    uint32 GetSize() override { return mSize; }
    uint32 GetRemaining() override { return mRemaining; }

    /// Why a chunk could not be read, if one could not.
    const Failure &GetFailure() const { return mFailure; }

private:
    const DiskFile &mFile;
    uint64 mOffset; ///< of the next chunk
    uint32 mSize;
    uint32 mRemaining;
    OffsetWidth mWidth;
    Failure mFailure;
    char mBuffer[MORV::Reader::InputChunkSize];
};
} // namespace Keld::TreeReader
