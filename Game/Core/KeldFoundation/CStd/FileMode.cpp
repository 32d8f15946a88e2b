#include "KeldFoundation/CStd/FileMode.h"

#include <sys/stat.h>

namespace Keld
{
FileStatus GetFileStatus(const char *path)
{
    struct stat status;
    if (stat(path, &status) != 0)
    {
        return FileStatus{};
    }
    return FileStatus{true, static_cast<uint32>(status.st_mode) & 0xFFFF, static_cast<uint64>(status.st_size),
                      static_cast<uint64>(status.st_dev), static_cast<uint64>(status.st_ino)};
}
} // namespace Keld
