#include "KeldFoundation/CStd/FileStatus.h"

#include <sys/stat.h>

namespace Keld
{
namespace
{
/// Nanoseconds since the epoch. A disk may hold times that do not fit, which wrap.
int64 ToNanoseconds(const timespec &time)
{
    return static_cast<int64>(static_cast<uint64>(time.tv_sec) * 1000000000 + static_cast<uint64>(time.tv_nsec));
}
} // namespace

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
                      ToNanoseconds(status.st_mtim),
                      static_cast<uint64>(status.st_dev),
                      static_cast<uint64>(status.st_ino)};
}
} // namespace Keld
