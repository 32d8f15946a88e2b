#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <functional>
#include <memory>
#include <string>
#include <string_view>

struct libdeflate_compressor;

namespace Keld::TreeWriter
{
// Every zlib stream that is made here is one that the reader accepts. The reader takes compressed bytes in chunks of
// 64 KiB and stops when the output is full: a stream whose last few bytes, behind those of the content, lie alone in a
// chunk would end unread, and the file would count as damaged. Such a stream is made longer by empty stored blocks, of
// five bytes each, until its end lies elsewhere.

/// Whether a stream of that many bytes could have its end alone in a chunk: one to eight bytes above a whole number.
bool ZlibEndsAloneInChunk(uint64 compressedSize);

inline constexpr int DefaultLevel = 6;
inline constexpr int LeastLevel = 1;
inline constexpr int MostLevel = 12; ///< zlib and LZMA take 9 for anything above it

/// Compresses whole contents, one after the other. Each thread needs one of its own.
class ZlibCompressor
{
public:
    explicit ZlibCompressor(int level);
    ~ZlibCompressor();

    ZlibCompressor(const ZlibCompressor &) = delete;
    ZlibCompressor &operator=(const ZlibCompressor &) = delete;

    std::string Compress(std::string_view content);

private:
    libdeflate_compressor *mCompressor;
    std::unique_ptr<char[]> mScratch;
    std::size_t mScratchSize = 0;
};

/// One piece of a content that is too large to be held whole. The pieces are made apart, on any thread, and joined in
/// order by a ZlibJoiner.
struct ZlibPiece
{
    std::string bytes; ///< whole deflate blocks, ending at a byte
    uint32 checksum = 1;
    uint64 contentSize = 0;
};

/// How much of the content before a piece it may refer to.
inline constexpr std::size_t ZlibWindow = 32768;

/// \param before what stands before the piece, at most ZlibWindow bytes of it
/// \param isLast whether nothing follows
ZlibPiece CompressPiece(std::string_view before, std::string_view piece, bool isLast, int level);

/// Makes one zlib stream of pieces.
class ZlibJoiner
{
public:
    using Sink = std::function<void(std::string_view)>;

    ZlibJoiner(int level, Sink sink);

    void Add(const ZlibPiece &piece, bool isLast);

    /// Bytes given to the sink so far.
    uint64 GetSize() const { return mSize; }

private:
    void Write(std::string_view bytes);

    Sink mSink;
    uint64 mSize = 0;
    uint32 mChecksum = 1;
};

/// Makes the stored form with LZMA: nine bytes of header, of which the reader looks at the first (the dictionary
/// property), then one raw LZMA2 stream with its end mark. The other eight bytes hold the size of the content, lowest
/// byte first.
class LzmaEncoder
{
public:
    using Sink = std::function<void(std::string_view)>;

    LzmaEncoder(uint64 contentSize, int level, Sink sink);
    ~LzmaEncoder();

    LzmaEncoder(const LzmaEncoder &) = delete;
    LzmaEncoder &operator=(const LzmaEncoder &) = delete;

    void Add(std::string_view piece);
    void Finish();

private:
    struct Coder;

    void Run(std::string_view piece, bool isLast);

    std::unique_ptr<Coder> mCoder;
    Sink mSink;
};
} // namespace Keld::TreeWriter
