#pragma once

#include "Tools/TreeReader/Fault.h"
#include "Tools/TreeReader/Release.h"

#include "KeldFoundation/CStd/LargeVector.h"

#include <functional>
#include <limits>
#include <string_view>
#include <vector>

namespace Keld::TreeReader
{
/// Takes content, piece by piece and in order. May throw; that passes through the reader.
using ContentSink = std::function<void(std::string_view)>;

struct ReadOptions
{
    uint64 offset = 0; ///< of the first byte wanted, from the start of the content
    uint64 length = std::numeric_limits<uint64>::max();

    /// Holds the content against the manifest's digest when all of it passes by: always for a compressed file, which is
    /// decoded whole, and for others when the whole file is wanted.
    bool checkDigest = true;

    /// Null, or room for a whole content, when the whole is wanted. Where it can, the reader reads or decodes into it,
    /// and the sink gets pieces that lie there already, each at its place.
    char *room = nullptr;
};

/// Memory for one content, kept and made anew only for a larger one. What is in it is not kept.
class ContentRoom
{
public:
    char *Get(uint32 size)
    {
        if (size > mBytes.size())
        {
            mBytes = LargeVector<char>(); // before there is a second one
            mBytes.resize(size);
        }
        return mBytes.data();
    }

private:
    LargeVector<char> mBytes;
};

/// Reads files of any size with a bounded memory, by the library's own rules for what is damaged. Make one for each
/// thread; it keeps its buffers from file to file: a block, and up to 16 MiB for zlib files no larger than that. An
/// LZMA file needs its dictionary besides, at most as large as itself.
class ContentReader
{
public:
    /// Hands the content on. A failure is found as late as it shows: pieces may have gone out before it. Its path is
    /// the file on disk, its offset and size the stored bytes that are concerned.
    Failure Read(const Release &release, EntryIndex file, const ReadOptions &options, const ContentSink &sink);

    /// The same for a file that was located before.
    Failure Read(const Release &release, EntryIndex file, const StoredFile &stored, const ReadOptions &options,
                 const ContentSink &sink);

private:
    std::vector<char> mBlock; ///< what is on its way to the sink
    ContentRoom mRoom;        ///< for a zlib file that is decoded in one piece
};
} // namespace Keld::TreeReader
