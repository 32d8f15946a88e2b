#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/blocks/DeflateHeader.h"
#include "KeldMorvIO/blocks/FastInflate.h"

#include <algorithm>
#include <atomic>
#include <memory>
#include <new>
#include <optional>

#include <isa-l/igzip_lib.h>

// zlib decides what is a good stream, so a stream is taken here only when zlib would take it. Where the two differ, and
// what is done about it:
//
//   Codes that are not complete. ISA-L takes them as long as no missing code occurs; zlib refuses them. So the header
//   of every deflate block is read here first. To know where a block ends, each is given to ISA-L as a stream of its
//   own: its first bit says that it is the last, and what was decoded before is its dictionary.
//
//   The zlib header, the checksum and the end of the stream are read here, and the window size in the header does not
//   count: zlib takes distances beyond it.
//
//   zlib is not asked again once the output is full and the chunk of input is used up, so a stream is refused whose end
//   lies alone in its last chunk. Here output must still be missing when the last chunk begins. ISA-L may hold bits of
//   the older chunk back then, of which zlib would have made bytes already: as many as they can stand for are allowed
//   for, and a stream that is as near to its end as that is left to zlib.
namespace Keld::MORV::Reader
{
namespace
{
constexpr uint32 ZlibHeaderSize = 2;
constexpr uint32 ZlibTrailerSize = 4;

static_assert(LongestDeflateHeader <= ChunkedInput::MostKept);

/// The bytes that one bit can stand for at most: a match of 258 takes a code for its length and one for its distance.
constexpr uint64 MostBytesPerBit = 129;

/// A block costs up to 32 KiB of dictionary, however little is in it. Streams that are mostly block headers would take
/// far longer than zlib takes over them.
constexpr uint64 FreeBlocks = 32;
constexpr uint64 BytesPerBlock = 2048;

/// All that is too large for a stack.
struct Workspace
{
    inflate_state state;
    uint8 history[ISAL_DEF_HIST_SIZE];
};

/// One workspace is kept for good, since most first opens come one after the other; those that come at the same time
/// make their own.
class WorkspaceLease
{
public:
    WorkspaceLease() : mKept(!gTaken.test_and_set(std::memory_order_acquire))
    {
        mWorkspace = mKept ? &gWorkspace : new (std::nothrow) Workspace;
    }

    ~WorkspaceLease()
    {
        if (mKept)
        {
            gTaken.clear(std::memory_order_release);
        }
        else
        {
            delete mWorkspace;
        }
    }

    WorkspaceLease(const WorkspaceLease &) = delete;
    WorkspaceLease &operator=(const WorkspaceLease &) = delete;

    Workspace *Get() const { return mWorkspace; }

private:
    static inline constinit std::atomic_flag gTaken{};
    static inline Workspace gWorkspace;

    bool mKept;
    Workspace *mWorkspace;
};

/// The row of blocks that fills up.
class BlockWriter
{
public:
    BlockWriter(const UncompressedBlock *blocks, uint32 blockCount, uint64 size)
        : mBlocks(blocks), mBlockCount(blockCount), mLeft(size)
    {
    }

    /// Room in the block that is being filled; the next block when that is full. None when all are.
    uint32 Room()
    {
        if (mFilled == mBlocks[mBlock].mSize && mBlock + 1 < mBlockCount)
        {
            ++mBlock;
            mFilled = 0;
        }
        return mBlocks[mBlock].mSize - mFilled;
    }

    uint8 *Position() const { return static_cast<uint8 *>(mBlocks[mBlock].mData) + mFilled; }

    /// Counts bytes that were written at `Position`.
    void Advance(uint32 count)
    {
        mChecksum = isal_adler32(mChecksum, Position(), count);
        mFilled += count;
        mWritten += count;
        mLeft -= count;
    }

    uint64 Written() const { return mWritten; }
    uint64 Left() const { return mLeft; }
    uint32 Checksum() const { return mChecksum; }

    /// The bytes that distances can reach back to.
    uint32 HistorySize() const { return static_cast<uint32>(std::min<uint64>(mWritten, ISAL_DEF_HIST_SIZE)); }

    /// Gives those bytes where they are, or copies them together in `room` when they lie in several blocks.
    uint8 *History(uint8 *room) const
    {
        const uint32 size = HistorySize();
        if (size <= mFilled)
        {
            return Position() - size;
        }
        uint32 block = mBlock;
        uint32 filled = mFilled;
        for (uint32 left = size; left != 0;)
        {
            const uint32 count = std::min(left, filled);
            left -= count;
            std_memcpy(room + left, count, static_cast<const uint8 *>(mBlocks[block].mData) + filled - count, count);
            if (left != 0)
            {
                --block;
                filled = mBlocks[block].mSize;
            }
        }
        return room;
    }

private:
    const UncompressedBlock *mBlocks;
    uint32 mBlockCount;
    uint32 mBlock = 0;
    uint32 mFilled = 0; ///< bytes of that block
    uint64 mWritten = 0;
    uint64 mLeft;
    uint32 mChecksum = 1;
};

class Inflater
{
public:
    Inflater(ChunkedInput &input, const BlockWriter &output, Workspace &workspace)
        : mInput(input), mOutput(output), mState(workspace.state), mHistory(workspace.history)
    {
    }

    FastInflateResult Run();

private:
    bool ReadChunk(uint32 kept);
    bool ReadZlibHeader();
    std::optional<DeflateHeader> ReadBlockHeader();
    bool InflateBlock(const DeflateHeader &header);
    void BeginBlock();
    bool InflateOnce();
    bool FeedMore();
    bool MayEnterChunk(uint64 pendingBits);
    bool EndsHere() const;

    ChunkedInput &mInput;
    BlockWriter mOutput;
    inflate_state &mState;
    uint8 *mHistory;
    const uint8 *mNext = nullptr; ///< the byte of the next bit
    uint32 mBit = 0;              ///< of that byte, 0 to 7
    bool mInChunk = true;         ///< bytes of the newest chunk were decoded; those in front of it may not yet be
    bool mReadFailed = false;
};

FastInflateResult Inflater::Run()
{
    bool good = ReadZlibHeader();
    bool isFinal = false;
    for (uint64 blocks = 0; good && !isFinal; ++blocks)
    {
        if (blocks > FreeBlocks + mOutput.Written() / BytesPerBlock)
        {
            return FastInflateResult::NotTaken;
        }
        const std::optional<DeflateHeader> header = ReadBlockHeader();
        good = header && InflateBlock(*header);
        isFinal = good && header->isFinal;
    }
    if (mReadFailed)
    {
        return FastInflateResult::ReadFailed;
    }
    return good && EndsHere() ? FastInflateResult::Done : FastInflateResult::NotTaken;
}

bool Inflater::ReadChunk(uint32 kept)
{
    mReadFailed = !mInput.ReadChunk(kept);
    mInChunk = mInput.IsFirst();
    return !mReadFailed;
}

bool Inflater::ReadZlibHeader()
{
    if (!ReadChunk(0) || mInput.ChunkSize() < ZlibHeaderSize)
    {
        return false;
    }
    const uint8 *const header = mInput.Chunk();
    mNext = header + ZlibHeaderSize;
    const bool isDeflate = (header[0] & 0x0F) == 8 && header[0] >> 4 <= 7;
    const bool hasDictionary = (header[1] & 0x20) != 0;
    return isDeflate && !hasDictionary && (header[0] * 256 + header[1]) % 31 == 0;
}

std::optional<DeflateHeader> Inflater::ReadBlockHeader()
{
    const auto left = static_cast<uint32>(mInput.End() - mNext);
    if (left < LongestDeflateHeader && !mInput.IsLast())
    {
        if (!ReadChunk(left))
        {
            return std::nullopt;
        }
        mNext = mInput.Chunk() - left;
    }
    return ReadDeflateHeader(mNext, mBit, mInput.End());
}

bool Inflater::InflateBlock(const DeflateHeader &header)
{
    // Nothing comes out before the header is complete.
    if (!mInChunk && header.end > mInput.Chunk() && !MayEnterChunk(0))
    {
        return false;
    }
    BeginBlock();
    while (mState.block_state != ISAL_BLOCK_FINISH)
    {
        if (!InflateOnce())
        {
            return false;
        }
    }
    const auto unread = static_cast<uint32>(mState.read_in_length);
    mNext = mState.next_in - (unread + 7) / 8;
    mBit = (8 - unread % 8) % 8;
    return true;
}

void Inflater::BeginBlock()
{
    isal_inflate_reset(&mState);
    mState.crc_flag = ISAL_DEFLATE;
    mState.hist_bits = 0;
    if (mOutput.HistorySize() != 0)
    {
        isal_inflate_set_dict(&mState, mOutput.History(mHistory), mOutput.HistorySize());
    }
    mState.read_in = static_cast<uint64>(*mNext) >> mBit | 1; // the last block, as far as ISA-L knows
    mState.read_in_length = static_cast<int32>(8 - mBit);
    mState.next_in = const_cast<uint8 *>(mNext + 1);
}

/// Decodes as far as the input at hand and the room in one block go. False when the stream is not to be taken.
bool Inflater::InflateOnce()
{
    const uint8 *const end = mInChunk ? mInput.End() : mInput.Chunk();
    const uint32 room = mOutput.Room();
    mState.avail_in = static_cast<uint32>(end - mState.next_in);
    mState.next_out = mOutput.Position();
    mState.avail_out = room;
    const uint32 available = mState.avail_in;
    const int result = isal_inflate(&mState);
    const uint32 written = room - mState.avail_out;
    mOutput.Advance(written);
    if (result != ISAL_DECOMP_OK)
    {
        return false;
    }
    if (mState.block_state == ISAL_BLOCK_FINISH || written != 0 || mState.avail_in != available)
    {
        return true;
    }
    return mState.avail_in == 0 && FeedMore(); // else there is no room for what comes
}

/// Goes on with the newest chunk when all bytes in front of it are used up, or else with the next one.
bool Inflater::FeedMore()
{
    if (mInChunk)
    {
        constexpr uint32 kept = sizeof mState.read_in; // bits of theirs may be given back
        if (mInput.IsLast() || !ReadChunk(std::min(kept, mInput.ChunkSize())))
        {
            return false;
        }
        mState.next_in = const_cast<uint8 *>(mInput.Chunk());
    }
    return MayEnterChunk(static_cast<uint64>(mState.read_in_length));
}

bool Inflater::MayEnterChunk(uint64 pendingBits)
{
    mInChunk = true;
    return !mInput.IsLast() || mOutput.Left() > pendingBits * MostBytesPerBit;
}

/// Behind the last block: the checksum, and nothing else.
bool Inflater::EndsHere() const
{
    const uint8 *const trailer = mBit == 0 ? mNext : mNext + 1;
    if (!mInput.IsLast() || !mInChunk || mOutput.Left() != 0 || mInput.End() - trailer != ZlibTrailerSize)
    {
        return false;
    }
    const uint32 checksum = uint32{trailer[0]} << 24 | uint32{trailer[1]} << 16 | uint32{trailer[2]} << 8 | trailer[3];
    return checksum == mOutput.Checksum();
}
} // namespace

FastInflateResult InflateFast(ChunkedInput &input, const UncompressedBlock *blocks, uint32 blockCount,
                              uint64 outputSize)
{
    if (!input.CanRewind())
    {
        return FastInflateResult::NotTaken; // what is read here would be missing there
    }
    const WorkspaceLease lease;
    if (lease.Get() == nullptr)
    {
        return FastInflateResult::NotTaken;
    }
    return Inflater(input, BlockWriter(blocks, blockCount, outputSize), *lease.Get()).Run();
}
} // namespace Keld::MORV::Reader
