// The decoder that zlib streams are given to first, beside zlib alone: it takes nothing that zlib refuses, and gives
// the same bytes. Input: 8 bits of form, 8 bits of block size, 16 bits of output size, the stream. With the top bit of
// the form the stream is mended before it is asked about: its last four bytes become the checksum of what one of the
// decoders gives, and the output is as long as that. Otherwise hardly any stream would get past its checksum.

#include "FuzzSupport.h"
#include "KeldMorvIO/blocks/BlockInflater.h"
#include "KeldMorvIO/blocks/ChunkedInput.h"
#include "KeldMorvIO/blocks/FastInflate.h"
#include "KeldMorvIO/blocks/ZlibAdapter.h"

#include <algorithm>
#include <string>
#include <vector>

#include <zlib.h>

namespace
{
using namespace Keld;
using MORV::Reader::FastInflateResult;
using MORV::Reader::UncompressedBlock;

constexpr uint32 MostOutput = 96 << 10; // what ISA-L gives behind 64 KiB takes another way
constexpr uint32 MostBlocks = 256;

/// How a stream comes in and goes out.
struct Form
{
    uint32 chunkSize;
    uint32 blockSize;
};

/// Blocks with gaps between them, in which nothing may be written. The decoder has parts that no sanitizer sees into.
class GuardedOutput
{
public:
    GuardedOutput(uint32 size, uint32 blockSize, char fill) : mSize(size)
    {
        const uint32 count = (size + blockSize - 1) / blockSize;
        mMemory.assign(size + (count + 1) * Gap, Guard);
        for (uint32 left = size; left != 0; left -= mBlocks.back().mSize)
        {
            const std::size_t place = size - left + (mBlocks.size() + 1) * Gap;
            mBlocks.push_back({mMemory.data() + place, std::min(left, blockSize)});
            std::fill_n(mMemory.begin() + static_cast<std::ptrdiff_t>(place), mBlocks.back().mSize, fill);
        }
    }

    const UncompressedBlock *Blocks() const { return mBlocks.data(); }
    uint32 Count() const { return static_cast<uint32>(mBlocks.size()); }
    uint32 Size() const { return mSize; }

    std::string Content() const
    {
        std::string content;
        std::size_t place = 0;
        for (const UncompressedBlock &block : mBlocks)
        {
            Fuzz::Require(mMemory.substr(place, Gap) == std::string(Gap, Guard), "no byte goes in front of a block");
            content.append(mMemory, place + Gap, block.mSize);
            place += Gap + block.mSize;
        }
        Fuzz::Require(mMemory.substr(place) == std::string(Gap, Guard), "no byte goes behind the last block");
        return content;
    }

private:
    static constexpr uint32 Gap = 64;
    static constexpr char Guard = '\xA5';

    uint32 mSize;
    std::string mMemory;
    std::vector<UncompressedBlock> mBlocks;
};

/// The bytes of a stream as a file, and who decodes them.
class Stream
{
public:
    explicit Stream(const std::string &bytes)
        : mFile(reinterpret_cast<const uint8 *>(bytes.data()), bytes.size()), mSize(static_cast<uint32>(bytes.size()))
    {
    }

    bool ByFirstTry(const GuardedOutput &output, uint32 chunkSize) const
    {
        MORV::Reader::ChunkedInput input(Handle(), 0, mSize, chunkSize);
        const FastInflateResult result =
            MORV::Reader::InflateFast(input, output.Blocks(), output.Count(), output.Size());
        Fuzz::Require(result != FastInflateResult::ReadFailed, "the file can be read");
        return result == FastInflateResult::Done;
    }

    bool ByZlib(const GuardedOutput &output, uint32 chunkSize) const
    {
        MORV::Reader::ChunkedInput input(Handle(), 0, mSize, chunkSize);
        MORV::Reader::BlockRowOutput row(output.Blocks(), output.Count());
        return MORV::Reader::InflateIntoBlocks(input, row, output.Size());
    }

    bool ByAdapter(const GuardedOutput &output) const
    {
        std::vector<UncompressedBlock> blocks(output.Blocks(), output.Blocks() + output.Count());
        return MORV::Reader::DecompressZlib(Handle(), 0, mSize, blocks.data(), output.Count());
    }

private:
    MORV::Reader::AsyncFile Handle() const { return static_cast<MORV::Reader::AsyncFile>(mFile.Descriptor()); }

    Fuzz::MemoryFile mFile;
    uint32 mSize;
};

using Decoder = bool (Stream::*)(const GuardedOutput &, uint32) const;

void RequireAgreement(const std::string &bytes, uint32 size, Form form)
{
    form.blockSize = std::max(form.blockSize, size / MostBlocks);
    const Stream stream(bytes);
    const GuardedOutput byZlib(size, form.blockSize, '-');
    const GuardedOutput byFirstTry(size, form.blockSize, '-');
    const bool isGood = stream.ByZlib(byZlib, form.chunkSize);
    const bool isTaken = stream.ByFirstTry(byFirstTry, form.chunkSize);
    const std::string content = byFirstTry.Content();
    Fuzz::Require(!isTaken || isGood, "what the first try takes, zlib takes");
    Fuzz::Require(!isTaken || content == byZlib.Content(), "both decoders give the same bytes");

    const GuardedOutput byZlibAlone(size, form.blockSize, '-');
    const GuardedOutput byAdapter(size, form.blockSize, '-');
    const bool isGoodInLargeChunks = stream.ByZlib(byZlibAlone, MORV::Reader::InputChunkSize);
    Fuzz::Require(stream.ByAdapter(byAdapter) == isGoodInLargeChunks, "the adapter takes what zlib takes");
    Fuzz::Require(!isGoodInLargeChunks || byAdapter.Content() == byZlibAlone.Content(), "the adapter gives its bytes");
}

/// What a decoder writes before it stops, as far as it can be told: over two different fillings.
std::string WrittenBy(Decoder decode, const Stream &stream, uint32 chunkSize)
{
    const GuardedOutput first(MostOutput, MostOutput, '-');
    const GuardedOutput second(MostOutput, MostOutput, '+');
    (stream.*decode)(first, chunkSize);
    (stream.*decode)(second, chunkSize);
    const std::string content = first.Content();
    const std::string other = second.Content();
    const auto end = std::mismatch(content.begin(), content.end(), other.begin()).first;
    return {content.begin(), end};
}

void RequireAgreementOnceMended(const std::string &bytes, Decoder decode, Form form)
{
    constexpr std::size_t trailerSize = 4;
    const std::string written = WrittenBy(decode, Stream(bytes), form.chunkSize);
    if (bytes.size() < trailerSize || written.empty())
    {
        return;
    }
    const uLong sum = adler32_z(1, reinterpret_cast<const Bytef *>(written.data()), written.size());
    std::string mended = bytes.substr(0, bytes.size() - trailerSize);
    for (const int shift : {24, 16, 8, 0})
    {
        mended += static_cast<char>(sum >> shift & 0xFF);
    }
    RequireAgreement(mended, static_cast<uint32>(written.size()), form);
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const Keld::uint8 *data, std::size_t size)
{
    constexpr uint32 chunkSizes[] = {512, 513, 600, 1000, 2048, 4096, 0x4000, MORV::Reader::InputChunkSize};
    Fuzz::InputReader input(data, size);
    const uint8 kind = input.Byte();
    const uint32 blockByte = input.Byte();
    const uint32 halfWord = input.HalfWord();
    const std::string stream(input.Rest());
    const uint32 outputSize = halfWord == 0 ? MostOutput : halfWord;
    const Form form{chunkSizes[kind % std::size(chunkSizes)], 1 + blockByte * blockByte};
    if (kind < 0x80)
    {
        RequireAgreement(stream, outputSize, form);
        return 0;
    }
    RequireAgreementOnceMended(stream, &Stream::ByZlib, form);
    RequireAgreementOnceMended(stream, &Stream::ByFirstTry, form);
    return 0;
}
