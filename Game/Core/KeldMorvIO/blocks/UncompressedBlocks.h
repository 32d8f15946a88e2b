#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldMorvIO/blocks/AsyncFile.h"
#include "KeldMorvIO/blocks/CompressedFormat.h"
#include "KeldMorvIO/blocks/UncompressedBlock.h"

namespace Keld::MORV::Reader
{
/// One whole decompressed file as a row of equal blocks, so that no single allocation is as large as the file. Empty
/// until it is filled. Objects have no lock: filling is the owner's to serialise, reads of a full object may overlap.
class UncompressedBlocks
{
public:
    /// \param blockSize bytes of every block but the last, never 0
    explicit UncompressedBlocks(uint32 blockSize);
    ~UncompressedBlocks();

    UncompressedBlocks(const UncompressedBlocks &) = delete;
    UncompressedBlocks &operator=(const UncompressedBlocks &) = delete;

    /// Frees all blocks.
    void Clear();

    /// Frees what is there and makes blocks for `totalSize` bytes. Without memory the object stays empty, or holds
    /// blocks whose data is null, and filling it fails.
    void Allocate(uint32 totalSize);

    /// Fills the object from a byte range of an open file. An `uncompressedSize` of 0 succeeds with any tag. With the
    /// tag LZMA the handle is closed on the way out. On failure the blocks stay, for the caller to clear.
    bool Decompress(const uint32 tag, AsyncFile file, uint64 offset, uint32 compressedSize, uint32 uncompressedSize);

    /// Opens `path` and decompresses into the blocks that the object already has; the last argument is not used.
    bool Decompress(const uint32 tag, const char *path, uint64 offset, uint32 compressedSize, uint32 uncompressedSize);

    /// Fills the object with plain bytes. Every block is read from the same `offset`: it does not advance.
    bool FromFile(AsyncFile file, uint64 offset, uint32 size);
    bool FromFile(const char *path, uint64 offset, uint32 size);

    /// Copies out up to `size` bytes from `offset` on and gives how many; 0 at or past the end.
    uint32 Read(void *destination, uint32 offset, uint32 size) const;

    /// The same for a read that must be whole: false when the content ends before. Offsets have 32 bits; a larger one
    /// wraps to its low word.
    /// \param bytesRead out, may be null: the bytes that were copied all the same.
    bool ReadWhole(uint64 offset, uint32 size, uint32 *bytesRead, void *destination) const;

    /// The position of the next byte equal to `value`, from `offset` on, or the total size when there is none.
    uint32 FindByte(uint8 value, uint32 offset) const;

private:
    uint32 GetBlockIndex(uint32 offset) const { return mBlockShift != 0 ? offset >> mBlockShift : offset / mBlockSize; }

    UncompressedBlock *mBlocks; ///< from malloc, as the data of each
    uint32 mBlockCount;
    uint32 mBlockSize;  ///< bytes; set at construction and never changed
    uint32 mBlockShift; ///< for block sizes that are a power of two: from an offset to the index of its block. Else 0.
    uint32 mTotalSize;  ///< bytes of the file
};
} // namespace Keld::MORV::Reader
