#pragma once

#include "KeldMorvIO/blocks/BlockInflater.h"
#include "KeldMorvIO/blocks/BlockRow.h"
#include "KeldMorvIO/blocks/ChunkedInput.h"
#include "KeldMorvIO/blocks/FastInflate.h"
#include "KeldMorvIO/blocks/ZlibAdapter.h"
#include "Support/CompressedStream.h"

#include <gtest/gtest.h>

#include <string>

#include <sys/mman.h>
#include <unistd.h>

// Asks zlib alone, the decoder that is tried first, and the adapter, which has both, about one stream.
namespace Keld::Test
{
/// A stream as a file without a place on the disk.
class StreamFile
{
public:
    explicit StreamFile(const std::string &stream) : mFile(memfd_create("stream", MFD_CLOEXEC)), mSize(SizeOf(stream))
    {
        EXPECT_EQ(write(mFile, stream.data(), stream.size()), static_cast<ssize_t>(stream.size()));
    }
    ~StreamFile() { close(mFile); }
    StreamFile(const StreamFile &) = delete;
    StreamFile &operator=(const StreamFile &) = delete;

    MORV::Reader::AsyncFile File() const { return static_cast<MORV::Reader::AsyncFile>(mFile); }
    uint32 Size() const { return mSize; }

private:
    int mFile;
    uint32 mSize;
};

inline bool ByZlibAlone(const StreamFile &stream, BlockRow &blocks, std::size_t size, uint32 chunkSize)
{
    MORV::Reader::ChunkedInput input(stream.File(), 0, stream.Size(), chunkSize);
    MORV::Reader::BlockRowOutput output(blocks.Data(), blocks.Count());
    return MORV::Reader::InflateIntoBlocks(input, output, size);
}

inline MORV::Reader::FastInflateResult ByFirstTry(const StreamFile &stream, BlockRow &blocks, std::size_t size,
                                                  uint32 chunkSize)
{
    MORV::Reader::ChunkedInput input(stream.File(), 0, stream.Size(), chunkSize);
    return MORV::Reader::InflateFast(input, blocks.Data(), blocks.Count(), size);
}

/// That the first try takes nothing that zlib refuses, over chunks of one size, and gives the same bytes.
/// \returns whether zlib takes the stream
inline bool ExpectAgreement(const StreamFile &stream, std::size_t size, std::size_t blockSize, uint32 chunkSize)
{
    BlockRow byZlib = BlockRow::Of(size, blockSize);
    BlockRow byFirstTry = BlockRow::Of(size, blockSize);
    const bool good = ByZlibAlone(stream, byZlib, size, chunkSize);
    const MORV::Reader::FastInflateResult first = ByFirstTry(stream, byFirstTry, size, chunkSize);
    EXPECT_NE(first, MORV::Reader::FastInflateResult::ReadFailed);
    if (first == MORV::Reader::FastInflateResult::Done)
    {
        EXPECT_TRUE(good);
        EXPECT_TRUE(byFirstTry.Content() == byZlib.Content());
    }
    return good;
}

/// That zlib takes the stream or not, and the adapter likewise with the same bytes, over several sizes of blocks; and
/// that the first try agrees over small chunks as well.
inline void ExpectVerdict(bool good, const std::string &stream, const std::string &plain)
{
    const StreamFile file(stream);
    for (const std::size_t blockSize : {std::size_t{0x40000}, std::size_t{1000}, std::size_t{7}, std::size_t{1}})
    {
        if (plain.size() / blockSize > 5000)
        {
            break;
        }
        SCOPED_TRACE(blockSize);
        EXPECT_EQ(ExpectAgreement(file, plain.size(), blockSize, MORV::Reader::InputChunkSize), good);
        ExpectAgreement(file, plain.size(), blockSize, MORV::Reader::ChunkedInput::MostKept);
        BlockRow byAdapter = BlockRow::Of(plain.size(), blockSize);
        EXPECT_EQ(MORV::Reader::DecompressZlib(file.File(), 0, file.Size(), byAdapter.Data(), byAdapter.Count()), good);
        if (good)
        {
            EXPECT_TRUE(byAdapter.Content() == plain);
        }
    }
}
} // namespace Keld::Test
