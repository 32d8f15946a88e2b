#include "Tools/morv/PathList.h"

#include "Tools/TreeReader/TreeError.h"

#include <cerrno>
#include <cstring>

namespace Keld::Morv
{
namespace
{
constexpr std::size_t LongestPath = 64 * 1024;
} // namespace

std::optional<std::string> PathList::Next()
{
    std::string path;
    int byte = 0;
    while ((byte = getc_unlocked(mStream)) != EOF)
    {
        if (static_cast<char>(byte) != mEnd)
        {
            path += static_cast<char>(byte);
        }
        else if (!path.empty())
        {
            return path;
        }
        if (path.size() > LongestPath)
        {
            throw TreeReader::TreeError("standard input holds a path of more than 65,536 bytes: write one path a line, "
                                        "or end each with a NUL and give -0");
        }
    }
    if (std::ferror(mStream) != 0)
    {
        throw TreeReader::TreeError(std::string("standard input cannot be read: ") + std::strerror(errno));
    }
    return path.empty() ? std::nullopt : std::make_optional(path);
}
} // namespace Keld::Morv
