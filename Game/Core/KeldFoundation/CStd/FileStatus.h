#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

namespace Keld
{
/// What the platform tells of an entry on disk.
struct FileStatus
{
    bool exists; ///< false when the platform could not tell, whatever the reason
    uint32 mode; ///< the low 16 bits, which hold kind and rights
    uint64 size; ///< bytes

    int64 modified; ///< nanoseconds since the epoch; a time that does not fit wraps

    // Together they tell one entry from every other, whatever path leads to it.
    uint64 device;
    uint64 inode;
};

/// Follows symbolic links. All fields are zero when nothing is there. Any thread may ask. Backslashes are not turned
/// into slashes.
FileStatus GetFileStatus(const char *path);

/// By one bit: besides regular files it is set for symbolic links, which are followed, and for sockets.
constexpr bool IsRegularMode(uint32 mode)
{
    return (mode & 0x8000) != 0;
}

/// Directories, block devices, regular files and sockets; neither pipes nor character devices.
constexpr bool IsEntryMode(uint32 mode)
{
    return mode >= 0x4000;
}

constexpr bool IsDirectoryMode(uint32 mode)
{
    return (mode & 0x4000) != 0;
}
} // namespace Keld
