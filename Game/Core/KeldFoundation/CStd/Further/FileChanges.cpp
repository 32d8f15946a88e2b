#include "KeldFoundation/CStd/Further/FileChanges.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/FileStatus.h"
#include "KeldFoundation/CStd/Further/Directories.h"

#include <cerrno>
#include <cstdlib>
#include <string>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keld
{
namespace
{
// A descriptor that is closed at the end of the scope.
class Descriptor
{
public:
    explicit Descriptor(int value) : mValue(value) {}
    ~Descriptor() { Close(); }
    Descriptor(const Descriptor &) = delete;
    Descriptor &operator=(const Descriptor &) = delete;

    bool IsOpen() const { return mValue >= 0; }
    int Get() const { return mValue; }
    bool Close()
    {
        const int value = mValue;
        mValue = -1;
        return value < 0 || close(value) == 0;
    }

private:
    int mValue;
};

bool WriteAll(int descriptor, const char *data, uint_size size)
{
    while (size != 0)
    {
        const ssize_t written = write(descriptor, data, size);
        if (written < 0 && errno == EINTR)
        {
            continue;
        }
        if (written <= 0)
        {
            return false;
        }
        data += written;
        size -= static_cast<uint_size>(written);
    }
    return true;
}

bool CopyContent(int from, int to)
{
    char buffer[0x4000];
    while (true)
    {
        const ssize_t count = read(from, buffer, sizeof buffer);
        if (count == 0)
        {
            return true;
        }
        if (count < 0 && errno == EINTR)
        {
            continue;
        }
        if (count < 0 || !WriteAll(to, buffer, static_cast<uint_size>(count)))
        {
            return false;
        }
    }
}

// The owner before the mode, since a change of owner takes special bits away.
bool CopyMetadata(const struct stat &status, int to)
{
    const timespec times[2] = {status.st_atim, status.st_mtim};
    [[maybe_unused]] const int owned = fchown(to, status.st_uid, status.st_gid);
    return fchmod(to, status.st_mode & 07777) == 0 && futimens(to, times) == 0;
}

std::string PlaceOf(const char *source, const char *target)
{
    std::string place = target;
    if (!std_directory_exists(target))
    {
        return place;
    }
    const std::string from = source;
    return place + "/" + from.substr(from.rfind('/') + 1);
}

bool MakeDirectoryOf(const std::string &path)
{
    const std::string::size_type separator = path.rfind('/');
    if (separator == std::string::npos || separator == 0)
    {
        return true;
    }
    const std::string directory = path.substr(0, separator);
    return std_directory_exists(directory.c_str()) || std_mkdir_tree(directory.c_str());
}

bool IsSameFile(const struct stat &source, const char *place)
{
    struct stat status;
    return stat(place, &status) == 0 && status.st_dev == source.st_dev && status.st_ino == source.st_ino;
}

// Beside the target, so that a copy that breaks off leaves the old file whole.
bool CopyThroughTemporary(int from, const struct stat &status, const std::string &place)
{
    std::string temporary = place + ".XXXXXX";
    Descriptor to(mkstemp(temporary.data()));
    if (!to.IsOpen())
    {
        return false;
    }
    const bool copied = CopyContent(from, to.Get()) && CopyMetadata(status, to.Get()) && to.Close() &&
                        std::rename(temporary.c_str(), place.c_str()) == 0;
    if (!copied)
    {
        unlink(temporary.c_str());
    }
    return copied;
}
} // namespace

bool std_make_writable(const char *path)
{
    const FileStatus status = GetFileStatus(path);
    return status.exists && chmod(path, (status.mode & 07777) | 0666) == 0;
}

bool std_force_delete(const char *path)
{
    std_make_writable(path);
    return std_file_delete(path);
}

bool std_copy_file(const char *source, const char *target)
{
    const Descriptor from(open(source, O_RDONLY | O_CLOEXEC | O_NONBLOCK)); // a pipe is to be refused, not waited for
    struct stat status;
    if (!from.IsOpen() || fstat(from.Get(), &status) != 0 || !S_ISREG(status.st_mode))
    {
        return false;
    }
    const std::string place = PlaceOf(source, target);
    if (IsSameFile(status, place.c_str()) || !MakeDirectoryOf(place))
    {
        return false;
    }
    return CopyThroughTemporary(from.Get(), status, place);
}
} // namespace Keld
