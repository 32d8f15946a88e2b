#include "Tools/TreeWriter/DiskSync.h"

#include <cerrno>
#include <system_error>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::TreeWriter
{
namespace
{
void SyncThrough(int (*sync)(int), const std::filesystem::path &directory)
{
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    const bool synced = descriptor >= 0 && sync(descriptor) == 0;
    const int reason = errno;
    if (descriptor >= 0)
    {
        close(descriptor);
    }
    if (!synced)
    {
        throw std::system_error(reason, std::generic_category(), "cannot bring to disk " + directory.string());
    }
}
} // namespace

void SyncFileSystem(const std::filesystem::path &directory)
{
    SyncThrough(syncfs, directory);
}

void SyncDirectory(const std::filesystem::path &directory)
{
    SyncThrough(fsync, directory);
}
} // namespace Keld::TreeWriter
