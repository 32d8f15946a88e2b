#include "Tools/TreeWriter/Compression.h"

#include "KeldMorvIO/blocks/CompressedFormat.h"

#include <libdeflate.h>
#include <lzma.h>
#include <zlib.h>

#include <algorithm>
#include <new>
#include <stdexcept>

namespace Keld::TreeWriter
{
namespace
{
// What can follow the last byte of content: the end code of its block (at most 15 bits), an empty last block (10 bits),
// the bits up to a whole byte, and four bytes of checksum.
constexpr uint64 LongestEndAlone = 8;

constexpr std::string_view EmptyStoredBlock("\0\0\0\xff\xff", 5); // behind a whole byte, and not the last one
constexpr std::size_t ZlibHeaderSize = 2;
constexpr std::size_t ChecksumSize = 4;
constexpr int RawDeflate = -15; // the largest window, and neither header nor checksum
constexpr int UsualMemory = 8;

int ZlibLevel(int level)
{
    return std::min(level, Z_BEST_COMPRESSION);
}

/// The header of a zlib stream with the largest window; the level in it is for people.
std::string ZlibHeader(int level)
{
    const unsigned method = 0x78;
    const unsigned speed = level < 2 ? 0 : level < 6 ? 1 : level == 6 ? 2 : 3;
    const unsigned flags = speed << 6;
    const unsigned check = (31 - (method << 8 | flags) % 31) % 31;
    return {static_cast<char>(method), static_cast<char>(flags | check)};
}

std::size_t CountPadding(uint64 size)
{
    std::size_t count = 0;
    for (; ZlibEndsAloneInChunk(size + count * EmptyStoredBlock.size()); ++count)
    {
    }
    return count;
}

lzma_options_lzma EncoderOptions(uint64 contentSize, int level)
{
    lzma_options_lzma options;
    if (lzma_lzma_preset(&options, static_cast<uint32_t>(std::min(level, 9))))
    {
        throw std::runtime_error("liblzma lacks a preset");
    }
    // A dictionary larger than the content only costs the reader memory.
    const uint64 largest = std::max<uint64>(contentSize, LZMA_DICT_SIZE_MIN);
    options.dict_size = static_cast<uint32_t>(std::min<uint64>(options.dict_size, largest));
    return options;
}

void RequireLzma(bool holds, lzma_ret result)
{
    if (result == LZMA_MEM_ERROR)
    {
        throw std::bad_alloc();
    }
    if (!holds)
    {
        throw std::runtime_error("liblzma cannot compress (error " + std::to_string(result) + ")");
    }
}
} // namespace

bool ZlibEndsAloneInChunk(uint64 compressedSize)
{
    const uint64 rest = compressedSize % MORV::Reader::InputChunkSize;
    return compressedSize > MORV::Reader::InputChunkSize && rest >= 1 && rest <= LongestEndAlone;
}

ZlibCompressor::ZlibCompressor(int level) : mCompressor(libdeflate_alloc_compressor(level))
{
    if (mCompressor == nullptr)
    {
        throw std::bad_alloc();
    }
}

ZlibCompressor::~ZlibCompressor()
{
    libdeflate_free_compressor(mCompressor);
}

std::string ZlibCompressor::Compress(std::string_view content)
{
    const std::size_t bound = libdeflate_zlib_compress_bound(mCompressor, content.size());
    if (mScratchSize < bound)
    {
        mScratch = std::make_unique_for_overwrite<char[]>(bound);
        mScratchSize = bound;
    }
    const std::size_t size =
        libdeflate_zlib_compress(mCompressor, content.data(), content.size(), mScratch.get(), mScratchSize);
    if (size == 0)
    {
        throw std::runtime_error("libdeflate cannot compress " + std::to_string(content.size()) + " bytes");
    }
    const std::size_t padding = CountPadding(size);
    std::string stream;
    stream.reserve(size + padding * EmptyStoredBlock.size());
    stream.append(mScratch.get(), ZlibHeaderSize);
    for (std::size_t count = 0; count < padding; ++count)
    {
        stream += EmptyStoredBlock;
    }
    return stream.append(mScratch.get() + ZlibHeaderSize, size - ZlibHeaderSize);
}

ZlibPiece CompressPiece(std::string_view before, std::string_view piece, bool isLast, int level)
{
    z_stream stream = {};
    if (deflateInit2(&stream, ZlibLevel(level), Z_DEFLATED, RawDeflate, UsualMemory, Z_DEFAULT_STRATEGY) != Z_OK)
    {
        throw std::bad_alloc();
    }
    const std::unique_ptr<z_stream, int (*)(z_stream *)> closer(&stream, deflateEnd);
    if (!before.empty())
    {
        deflateSetDictionary(&stream, reinterpret_cast<const Bytef *>(before.data()), static_cast<uInt>(before.size()));
    }
    ZlibPiece made;
    made.contentSize = piece.size();
    const auto *content = reinterpret_cast<const Bytef *>(piece.data());
    made.checksum = static_cast<uint32>(adler32(1, content, static_cast<uInt>(piece.size())));
    made.bytes.resize(deflateBound(&stream, static_cast<uLong>(piece.size())) + EmptyStoredBlock.size() + 1);
    stream.next_in = const_cast<Bytef *>(content); // zlib does not write there
    stream.avail_in = static_cast<uInt>(piece.size());
    stream.next_out = reinterpret_cast<Bytef *>(made.bytes.data());
    stream.avail_out = static_cast<uInt>(made.bytes.size());
    const int result = deflate(&stream, isLast ? Z_FINISH : Z_SYNC_FLUSH);
    if (result != (isLast ? Z_STREAM_END : Z_OK) || stream.avail_in != 0 || stream.avail_out == 0)
    {
        throw std::runtime_error("zlib cannot compress " + std::to_string(piece.size()) + " bytes");
    }
    made.bytes.resize(made.bytes.size() - stream.avail_out);
    return made;
}

ZlibJoiner::ZlibJoiner(int level, Sink sink) : mSink(std::move(sink))
{
    Write(ZlibHeader(ZlibLevel(level)));
}

void ZlibJoiner::Add(const ZlibPiece &piece, bool isLast)
{
    mChecksum =
        static_cast<uint32>(adler32_combine(mChecksum, piece.checksum, static_cast<z_off_t>(piece.contentSize)));
    if (!isLast)
    {
        Write(piece.bytes);
        return;
    }
    for (std::size_t count = CountPadding(mSize + piece.bytes.size() + ChecksumSize); count > 0; --count)
    {
        Write(EmptyStoredBlock);
    }
    Write(piece.bytes);
    std::string checksum;
    for (int shift = 24; shift >= 0; shift -= 8)
    {
        checksum += static_cast<char>(mChecksum >> shift & 0xFF);
    }
    Write(checksum);
}

void ZlibJoiner::Write(std::string_view bytes)
{
    mSink(bytes);
    mSize += bytes.size();
}

struct LzmaEncoder::Coder
{
    ~Coder() { lzma_end(&stream); }

    lzma_stream stream = LZMA_STREAM_INIT;
    lzma_options_lzma options;
    std::string output = std::string(std::size_t{1} << 16, '\0');
};

LzmaEncoder::LzmaEncoder(uint64 contentSize, int level, Sink sink)
    : mCoder(std::make_unique<Coder>()), mSink(std::move(sink))
{
    mCoder->options = EncoderOptions(contentSize, level);
    const lzma_filter filters[] = {{LZMA_FILTER_LZMA2, &mCoder->options}, {LZMA_VLI_UNKNOWN, nullptr}};
    MORV::Reader::LzmaFileHeader header;
    const lzma_ret encoded = lzma_properties_encode(&filters[0], &header.dictionaryProperty);
    RequireLzma(encoded == LZMA_OK, encoded);
    header.contentSizeLow = static_cast<uint32>(contentSize);
    header.contentSizeHigh = static_cast<uint32>(contentSize >> 32);
    const lzma_ret result = lzma_raw_encoder(&mCoder->stream, filters);
    RequireLzma(result == LZMA_OK, result);
    mSink({reinterpret_cast<const char *>(&header), sizeof header});
}

LzmaEncoder::~LzmaEncoder() = default;

void LzmaEncoder::Add(std::string_view piece)
{
    Run(piece, false);
}

void LzmaEncoder::Finish()
{
    Run({}, true);
}

void LzmaEncoder::Run(std::string_view piece, bool isLast)
{
    lzma_stream &stream = mCoder->stream;
    stream.next_in = reinterpret_cast<const uint8_t *>(piece.data());
    stream.avail_in = piece.size();
    lzma_ret result = LZMA_OK;
    while (isLast ? result != LZMA_STREAM_END : stream.avail_in != 0)
    {
        stream.next_out = reinterpret_cast<uint8_t *>(mCoder->output.data());
        stream.avail_out = mCoder->output.size();
        result = lzma_code(&stream, isLast ? LZMA_FINISH : LZMA_RUN);
        RequireLzma(result == LZMA_OK || result == LZMA_STREAM_END, result);
        mSink(std::string_view(mCoder->output).substr(0, mCoder->output.size() - stream.avail_out));
    }
}
} // namespace Keld::TreeWriter
