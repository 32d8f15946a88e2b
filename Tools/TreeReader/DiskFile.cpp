#include "Tools/TreeReader/DiskFile.h"

#include "Tools/TreeReader/DirectoryStream.h"

#include <algorithm>
#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <sys/resource.h>
#include <unistd.h>

namespace Keld::TreeReader
{
namespace
{
/// The shortest directory on the way to a path that cannot be looked at or into, or an empty text.
std::string FirstObstacle(const std::string &path, int error)
{
    const auto isObstacle = [&path, mode = error == EACCES ? X_OK : F_OK](std::size_t slash)
    {
        return eaccess(path.substr(0, slash).c_str(), mode) != 0;
    };
    // Whoever comes to the last directory has passed all before it. Mostly it is only the file that is missing.
    const std::size_t last = path.rfind('/');
    if (last == std::string::npos || last == 0 || !isObstacle(last))
    {
        return "";
    }
    std::size_t slash = path.find('/', 1);
    while (slash < last && !isObstacle(slash))
    {
        slash = path.find('/', slash + 1);
    }
    return path.substr(0, slash);
}

std::string DescriptorText()
{
    struct rlimit limit = {};
    getrlimit(RLIMIT_NOFILE, &limit);
    return "no descriptors are left: this process may hold " + std::to_string(limit.rlim_cur) +
           " files open, see \"ulimit -n\"";
}
} // namespace

Fault ExplainSystemError(const std::string &path, int error)
{
    switch (error)
    {
    case ENOENT:
    {
        const std::string directory = FirstObstacle(path, error);
        return {FaultKind::NotThere, path, directory.empty() ? "is missing" : "is missing, with all of " + directory};
    }
    case EACCES:
    {
        const std::string directory = FirstObstacle(path, error);
        return {FaultKind::NotAllowed, path,
                directory.empty() ? "cannot be read: permission denied"
                                  : "cannot be reached: the directory " + directory + " cannot be entered"};
    }
    case EMFILE:
    case ENFILE:
        return {FaultKind::NoDescriptors, path, DescriptorText()};
    case ENOTDIR:
        return {FaultKind::WrongKind, path, "cannot be reached: something on the way is a file and no directory"};
    case ENAMETOOLONG:
        return {FaultKind::PathTooLong, path, "cannot be read: the path is too long"};
    default:
        return {FaultKind::ReadError, path, std::string("cannot be read: ") + std::strerror(error)};
    }
}

DiskFile::DiskFile(std::string path, int descriptor, const struct stat &status)
    : mPath(std::move(path)), mDescriptor(descriptor), mMode(status.st_mode), mSize(static_cast<uint64>(status.st_size))
{
}

DiskFile::DiskFile(DiskFile &&other) noexcept
    : mPath(std::move(other.mPath)), mDescriptor(std::exchange(other.mDescriptor, -1)), mMode(other.mMode),
      mSize(other.mSize)
{
}

DiskFile &DiskFile::operator=(DiskFile &&other) noexcept
{
    std::swap(mPath, other.mPath);
    std::swap(mDescriptor, other.mDescriptor);
    std::swap(mMode, other.mMode);
    std::swap(mSize, other.mSize);
    return *this;
}

DiskFile::~DiskFile()
{
    if (mDescriptor >= 0)
    {
        close(mDescriptor);
    }
}

Result<DiskFile> DiskFile::Open(const std::string &path)
{
    int descriptor = -1;
    do
    {
        descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    } while (descriptor < 0 && errno == EINTR);
    if (descriptor < 0)
    {
        return ExplainSystemError(path, errno);
    }
    struct stat status = {};
    if (fstat(descriptor, &status) != 0)
    {
        const int error = errno;
        close(descriptor);
        return ExplainSystemError(path, error);
    }
    return DiskFile(path, descriptor, status);
}

Result<uint_size> DiskFile::ReadAt(uint64 offset, void *buffer, uint_size size) const
{
    uint_size done = 0;
    while (done < size)
    {
        const ssize_t count =
            pread(mDescriptor, static_cast<char *>(buffer) + done, size - done, static_cast<off_t>(offset + done));
        if (count < 0 && errno == EINTR)
        {
            continue;
        }
        if (count < 0)
        {
            return Fault{FaultKind::ReadError, mPath, std::string("cannot be read: ") + std::strerror(errno),
                         offset + done, size - done};
        }
        if (count == 0)
        {
            break;
        }
        done += static_cast<uint_size>(count);
    }
    return done;
}

Result<LargeVector<char>> ReadFileImage(const std::string &path, uint64 limit)
{
    const Result<DiskFile> file = DiskFile::Open(path);
    if (!file)
    {
        return file.GetFault();
    }
    if (!file->IsRegular())
    {
        return Fault{FaultKind::WrongKind, path, "is no regular file"};
    }
    if (file->GetSize() > limit)
    {
        return Fault{FaultKind::WrongSize, path, "is too large, with " + std::to_string(file->GetSize()) + " bytes"};
    }
    LargeVector<char> image(file->GetSize());
    const Result<uint_size> count = file->ReadAt(0, image.data(), image.size());
    if (!count)
    {
        return count.GetFault();
    }
    if (*count != image.size())
    {
        return Fault{FaultKind::ReadError, path, "became shorter while it was read"};
    }
    return image;
}

Result<std::vector<std::string>> ReadNames(const std::string &directory)
{
    DirectoryStream stream(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    std::vector<std::string> names;
    while (const dirent *entry = stream.Next())
    {
        names.emplace_back(entry->d_name);
    }
    if (stream.GetError() != 0)
    {
        return ExplainSystemError(directory, stream.GetError());
    }
    std::sort(names.begin(), names.end());
    return names;
}
} // namespace Keld::TreeReader
