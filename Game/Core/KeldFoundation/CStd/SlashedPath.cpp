#include "KeldFoundation/CStd/SlashedPath.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/PathText.h"

#include <algorithm>
#include <cerrno>

namespace Keld
{
namespace
{
void CopyReplacing(char *dest, const char *src, char from, char to)
{
    std::replace_copy(src, src + std_strlen(src) + 1, dest, from, to);
}
} // namespace

bool CopyWithSlashes(char *dest, const char *src)
{
    if (std_strnlen(src, PathCapacity) == PathCapacity)
    {
        errno = ENAMETOOLONG;
        return false;
    }
    std_path_to_slashes(dest, src);
    return true;
}

const char *SharedSlashedPath(const char *path)
{
    static char slashed[PathCapacity];
    return CopyWithSlashes(slashed, path) ? slashed : nullptr;
}

void std_path_to_slashes(char *dest, const char *src)
{
    CopyReplacing(dest, src, '\\', '/');
}

void std_path_to_backslashes(char *dest, const char *src)
{
    CopyReplacing(dest, src, '/', '\\');
}
} // namespace Keld
