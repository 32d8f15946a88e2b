#include "Tools/TreeReader/ContentReader.h"

#include "Tools/TreeReader/ContentDigest.h"
#include "Tools/TreeReader/StoredBytes.h"

#include "KeldMorvIO/LogCapture.h"
#include "KeldMorvIO/blocks/BlockInflater.h"
#include "KeldMorvIO/blocks/FastInflate.h"
#include "KeldMorvIO/blocks/LzmaAdapter.h"

#include <algorithm>
#include <array>
#include <optional>

namespace Keld::TreeReader
{
using MORV::Reader::UncompressedBlock;

namespace
{
// The size of the blocks that the library decodes into. Where one ends decides which streams it takes for complete.
constexpr uint32 BlockSize = 0x40000;

// Contents up to this size are decoded in one piece, which the faster decoder needs.
constexpr uint32 LargestInOnePiece = 16 << 20;

std::string RangeText(uint64 offset, uint64 size)
{
    return "bytes " + std::to_string(offset) + " to " + std::to_string(offset + size);
}

/// The content on its way from the disk to the sink: what is wanted of it goes on, and all of it is digested.
class Passage
{
public:
    Passage(uint64 contentSize, const ReadOptions &options, const ContentSink &sink)
        : mContentSize(contentSize), mBegin(std::min(options.offset, contentSize)),
          mEnd(mBegin + std::min(options.length, contentSize - mBegin)), mRoom(options.room), mSink(sink)
    {
    }

    /// From now on everything is digested.
    void StartDigest() { mDigest.emplace(); }

    uint64 GetContentSize() const { return mContentSize; }
    uint64 GetBegin() const { return mBegin; }
    uint64 GetEnd() const { return mEnd; }

    /// Where the whole content may lie, or null.
    char *GetRoom() const { return mRoom; }

    bool IsWhole() const { return mBegin == 0 && mEnd == mContentSize; }

    /// Whether nothing of what follows matters to anybody.
    bool IsSatisfied() const { return !mDigest && mPosition >= mEnd; }

    /// Whether the last byte matters as much as the first.
    bool NeedsAll() const { return mDigest.has_value() || IsWhole(); }

    /// For content that is not decoded: what comes next is the byte at `position`.
    void SkipTo(uint64 position) { mPosition = position; }

    void Take(std::string_view bytes)
    {
        if (mDigest)
        {
            mDigest->Update(bytes);
        }
        const uint64 begin = std::max(mBegin, mPosition);
        const uint64 end = std::min(mEnd, mPosition + bytes.size());
        if (begin < end)
        {
            mSink(bytes.substr(begin - mPosition, end - begin));
        }
        mPosition += bytes.size();
    }

    /// The digest of all that came, once; nothing when none was wanted.
    std::optional<Digest> FinishDigest() { return mDigest ? std::optional<Digest>(mDigest->Finish()) : std::nullopt; }

private:
    uint64 mContentSize;
    uint64 mBegin; ///< of the part that is wanted
    uint64 mEnd;
    char *const mRoom; ///< borrowed
    const ContentSink &mSink;
    uint64 mPosition = 0;
    std::optional<ContentDigest> mDigest;
};

/// Gives a decoder one block again and again, and passes on what it was filled with.
class PassingOutput final : public MORV::Reader::IBlockOutput
{
public:
    PassingOutput(std::vector<char> &block, uint64 contentSize, Passage &passage)
        : mBlock(block), mLeft(contentSize), mPassage(passage)
    {
    }

    bool TakeNext(UncompressedBlock &block) override
    {
        if (mLeft == 0)
        {
            return false;
        }
        PassOn();
        if (mPassage.IsSatisfied())
        {
            return false;
        }
        mFilled = static_cast<uint32>(std::min<uint64>(mLeft, BlockSize));
        mLeft -= mFilled;
        block = UncompressedBlock{mBlock.data(), mFilled};
        return true;
    }

    /// The last block, which no further one pushes out.
    void PassOn()
    {
        mPassage.Take(std::string_view(mBlock.data(), mFilled));
        mFilled = 0;
    }

private:
    std::vector<char> &mBlock;
    uint64 mLeft; ///< bytes of content that no block was given for
    uint32 mFilled = 0;
    Passage &mPassage;
};

/// `begin` is where the content begins on disk.
Failure CopyStored(const DiskFile &disk, uint64 begin, std::vector<char> &block, Passage &passage)
{
    if (passage.GetRoom() == nullptr)
    {
        block.resize(BlockSize);
    }
    passage.SkipTo(passage.GetBegin());
    for (uint64 position = passage.GetBegin(); position < passage.GetEnd();)
    {
        const uint64 wanted = std::min<uint64>(passage.GetEnd() - position, BlockSize);
        char *const bytes = passage.GetRoom() != nullptr ? passage.GetRoom() + position : block.data();
        const Result<uint_size> count = disk.ReadAt(begin + position, bytes, wanted);
        if (!count)
        {
            return count.GetFault();
        }
        passage.Take(std::string_view(bytes, *count));
        position += *count;
        if (*count != wanted)
        {
            return Fault{FaultKind::EndsEarly, disk.GetPath(),
                         "ends at byte " + std::to_string(begin + position) + " and should go on to byte " +
                             std::to_string(begin + passage.GetContentSize()),
                         begin + position, passage.GetContentSize() - position};
        }
    }
    return std::nullopt;
}

/// The first try of the library itself, into blocks of its size that lie one behind another. False when it has to be
/// decided by zlib, and nothing was passed on.
bool DecodeAtOnce(const DiskFile &disk, const StoredFile &stored, ContentRoom &room, Passage &passage)
{
    const auto size = static_cast<uint32>(passage.GetContentSize());
    if (size > LargestInOnePiece || stored.storedSize == 0 || !passage.NeedsAll())
    {
        return false;
    }
    char *const content = passage.GetRoom() != nullptr ? passage.GetRoom() : room.Get(size);
    std::array<UncompressedBlock, LargestInOnePiece / BlockSize> blocks;
    uint32 blockCount = 0;
    for (uint32 offset = 0; offset < size; offset += BlockSize)
    {
        blocks[blockCount++] = UncompressedBlock{content + offset, std::min(size - offset, BlockSize)};
    }
    MORV::Reader::ChunkedInput input(disk.GetHandle(), stored.offset, static_cast<uint32>(stored.storedSize));
    if (MORV::Reader::InflateFast(input, blocks.data(), blockCount, size) != MORV::Reader::FastInflateResult::Done)
    {
        return false;
    }
    passage.Take(std::string_view(content, size));
    return true;
}

Failure Decode(const DiskFile &disk, const StoredFile &stored, std::vector<char> &block, ContentRoom &room,
               Passage &passage)
{
    const uint64 size = passage.GetContentSize();
    if (size == 0)
    {
        return std::nullopt; // the library looks at no stored byte then
    }
    const bool isZlib = stored.compression == Compression::Zlib;
    const MORV::Reader::LogCapture quiet;
    if (isZlib && DecodeAtOnce(disk, stored, room, passage))
    {
        return std::nullopt;
    }
    block.resize(BlockSize);
    StoredBytes source(disk, stored.offset, static_cast<uint32>(stored.storedSize),
                       isZlib ? OffsetWidth::Bits32 : OffsetWidth::Bits64);
    PassingOutput output(block, size, passage);
    const bool isGood = stored.storedSize != 0 && (isZlib ? MORV::Reader::InflateIntoBlocks(source, output, size)
                                                          : MORV::Reader::DecompressLzma(source, output, size));
    if (isGood)
    {
        output.PassOn();
        return std::nullopt;
    }
    if (source.GetFailure())
    {
        return source.GetFailure();
    }
    if (passage.IsSatisfied())
    {
        return std::nullopt;
    }
    return Fault{FaultKind::DamagedData, disk.GetPath(),
                 std::string("damaged ") + NameOf(stored.compression) + " data in " +
                     RangeText(stored.offset, stored.storedSize),
                 stored.offset, stored.storedSize};
}
} // namespace

Failure ContentReader::Read(const Release &release, EntryIndex file, const ReadOptions &options,
                            const ContentSink &sink)
{
    const Result<StoredFile> stored = release.Locate(file);
    return stored ? Read(release, file, *stored, options, sink) : stored.GetFault();
}

Failure ContentReader::Read(const Release &release, EntryIndex file, const StoredFile &stored,
                            const ReadOptions &options, const ContentSink &sink)
{
    const auto &fields = release.GetTree().GetFields(file);
    const bool isStored = stored.storage == Storage::Archive && stored.compression == Compression::None;
    if (isStored && stored.storedSize != fields.size)
    {
        return Fault{FaultKind::WrongSize, stored.path,
                     "holds " + std::to_string(stored.storedSize) + " bytes of a file that has " +
                         std::to_string(fields.size) + " by the manifest; the library does not open it",
                     stored.offset, stored.storedSize};
    }
    const auto disk = release.GetFiles().Open(stored.path);
    if (!disk)
    {
        return disk.GetFault();
    }
    Passage passage(fields.size, options, sink);
    const bool isDecoded = stored.compression != Compression::None;
    if (options.checkDigest && (isDecoded || passage.IsWhole()))
    {
        passage.StartDigest();
    }
    const Failure failure =
        isDecoded ? Decode(**disk, stored, mBlock, mRoom, passage) : CopyStored(**disk, stored.offset, mBlock, passage);
    if (failure)
    {
        return failure;
    }
    const std::optional<Digest> found = passage.FinishDigest();
    Digest expected;
    std::copy(std::begin(fields.digest), std::end(fields.digest), expected.begin());
    if (found && *found != expected)
    {
        return Fault{FaultKind::WrongDigest, stored.path,
                     "the content is not what was packed: its digest is " + DigestText(*found) +
                         ", and the manifest says " + DigestText(expected),
                     stored.offset, stored.storedSize};
    }
    return std::nullopt;
}
} // namespace Keld::TreeReader
