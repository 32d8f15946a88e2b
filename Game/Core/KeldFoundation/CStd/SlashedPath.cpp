#include "KeldFoundation/CStd/SlashedPath.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/PathLimit.h"

#include <cerrno>

namespace Keld
{
bool CopyWithSlashes(char *dest, const char *src)
{
    if (std_strnlen(src, PathBufferSize) == PathBufferSize)
    {
        errno = ENAMETOOLONG;
        return false;
    }
    std_path_to_slashes(dest, src);
    return true;
}

const char *SharedSlashedPath(const char *path)
{
    static char slashed[PathBufferSize];
    return CopyWithSlashes(slashed, path) ? slashed : nullptr;
}
} // namespace Keld
