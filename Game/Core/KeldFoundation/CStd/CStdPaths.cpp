#include "KeldFoundation/CStd/CStd.h"

#include <algorithm>

namespace Keld
{
namespace
{
struct Span
{
    const char *begin;
    uint_size length;
};

struct PathParts
{
    Span directory;
    Span name;
    Span extension;
};

bool IsSeparator(char character)
{
    return character == '/' || character == '\\';
}

PathParts SplitAtSeparatorAndDot(const char *path)
{
    const char *separator = nullptr;
    const char *dot = nullptr;
    const char *end = path;
    for (; *end != '\0'; ++end)
    {
        if (IsSeparator(*end))
        {
            separator = end;
            dot = nullptr;
        }
        else if (*end == '.')
        {
            dot = end;
        }
    }

    const char *name = separator != nullptr ? separator + 1 : path;
    const char *extension = dot != nullptr ? dot : end;
    Span directory{".", 1};
    if (separator != nullptr)
    {
        directory = Span{path, separator == path ? 1 : static_cast<uint_size>(separator - path)};
    }
    return PathParts{directory, Span{name, static_cast<uint_size>(extension - name)},
                     Span{extension, static_cast<uint_size>(end - extension)}};
}

void Empty(char *dest, uint_size size)
{
    if (dest != nullptr && size != 0)
    {
        dest[0] = '\0';
    }
}

void Store(char *dest, uint_size size, const Span &part)
{
    if (dest != nullptr)
    {
        std_strncpy(dest, size, part.begin, part.length);
    }
}
} // namespace

void std_path_to_slashes(char *dest, const char *src)
{
    std::replace_copy(src, src + std_strlen(src) + 1, dest, '\\', '/');
}

bool std_splitpath(const char *path, char *drive, uint_size driveSize, char *dir, uint_size dirSize, char *fname,
                   uint_size fnameSize, char *ext, uint_size extSize)
{
    Empty(drive, driveSize);
    Empty(dir, dirSize);
    Empty(fname, fnameSize);
    Empty(ext, extSize);
    if (path == nullptr || path[0] == '\0')
    {
        return false;
    }
    const PathParts parts = SplitAtSeparatorAndDot(path);
    Store(dir, dirSize, parts.directory);
    Store(fname, fnameSize, parts.name);
    Store(ext, extSize, parts.extension);
    return true;
}
} // namespace Keld
