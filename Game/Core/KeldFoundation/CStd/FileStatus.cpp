#include "KeldFoundation/CStd/FileStatus.h"

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
    return FileStatus{true,
                      static_cast<uint32>(status.st_mode) & 0xFFFF,
                      static_cast<uint64>(status.st_size),
                      int64{status.st_mtim.tv_sec} * 1000000000 + status.st_mtim.tv_nsec,
                      static_cast<uint64>(status.st_dev),
                      static_cast<uint64>(status.st_ino)};
}
} // namespace Keld
