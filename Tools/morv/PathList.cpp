#include "Tools/morv/PathList.h"

#include "Tools/TreeReader/TreeError.h"

#include <cerrno>
#include <cstring>

namespace Keld::Morv
{
namespace
{
constexpr std::size_t LongestPath = 65536;
constexpr std::size_t BlockSize = 65536;
} // namespace

std::optional<std::string> PathList::Next()
{
    std::string path;
    while (HasBytes())
    {
        const std::string_view rest = std::string_view(mBlock).substr(mNext);
        const std::size_t length = rest.find(mEnd);
        const bool isEnded = length != std::string_view::npos;
        path.append(rest.substr(0, length));
        mNext += isEnded ? length + 1 : rest.size();
        if (path.size() > LongestPath)
        {
            throw TreeReader::TreeError("standard input holds a path of more than 65,536 bytes: write one path a line, "
                                        "or end each with a NUL and give -0");
        }
        if (isEnded && !path.empty())
        {
            return path;
        }
    }
    return path.empty() ? std::nullopt : std::make_optional(path);
}

/// Reads the next block where all bytes of this one are taken.
bool PathList::HasBytes()
{
    if (mNext < mBlock.size())
    {
        return true;
    }
    mBlock.resize(BlockSize);
    mBlock.resize(std::fread(mBlock.data(), 1, BlockSize, mStream));
    mNext = 0;
    if (std::ferror(mStream) != 0)
    {
        throw TreeReader::TreeError(std::string("standard input cannot be read: ") + std::strerror(errno));
    }
    return !mBlock.empty();
}
} // namespace Keld::Morv
