#pragma once

#include "KeldMorvIO/blocks/UncompressedBlock.h"

namespace Keld::MORV::Reader
{
/// Where the decoders put content: blocks, one after another.
class IBlockOutput
{
public:
    /// Gives the block to fill next, borrowed until the next call; the one before it is full. False when there is none,
    /// and `block` is as it was.
    virtual bool TakeNext(UncompressedBlock &block) = 0;

protected:
    ~IBlockOutput() = default;
};

/// A row of blocks that are all there.
class BlockRowOutput final : public IBlockOutput
{
public:
    BlockRowOutput(const UncompressedBlock *blocks, uint32 blockCount) : mNext(blocks), mEnd(blocks + blockCount) {}

    bool TakeNext(UncompressedBlock &block) override
    {
        if (mNext == mEnd)
        {
            return false;
        }
        block = *mNext;
        ++mNext;
        return true;
    }

private:
    const UncompressedBlock *mNext;
    const UncompressedBlock *mEnd;
};
} // namespace Keld::MORV::Reader
