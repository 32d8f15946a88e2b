#pragma once

#include <cstdio>
#include <optional>
#include <string>

namespace Keld::Morv
{
/// Paths from a stream, one behind the other, each ended by a line end or by a NUL. Empty ones are passed over.
class PathList
{
public:
    PathList(std::FILE *stream, char end) : mStream(stream), mEnd(end) {}

    /// The next path, or nothing at the end. Throws TreeError when the stream cannot be read, or for a path of more
    /// than 64 KiB, which is none.
    std::optional<std::string> Next();

private:
    bool HasBytes();

    std::FILE *const mStream;
    const char mEnd;
    std::string mBlock;    ///< what was read last
    std::size_t mNext = 0; ///< in it
};
} // namespace Keld::Morv
