#include "Tools/TreeWriter/InputFile.h"

#include "Tools/TreeReader/TreeError.h"

#include <cerrno>
#include <cstring>

#include <fcntl.h>
#include <unistd.h>

namespace Keld::TreeWriter
{
using TreeReader::TreeError;

namespace
{
bool IsSame(const timespec &left, const timespec &right)
{
    return left.tv_sec == right.tv_sec && left.tv_nsec == right.tv_nsec;
}
} // namespace

InputFile::InputFile(std::string path, uint64 size)
    : mPath(std::move(path)), mDescriptor(open(mPath.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK))
{
    if (mDescriptor < 0 || fstat(mDescriptor, &mStatus) != 0)
    {
        const int reason = errno;
        if (mDescriptor >= 0)
        {
            close(mDescriptor);
        }
        errno = reason;
        Fail();
    }
    if (!S_ISREG(mStatus.st_mode) || static_cast<uint64>(mStatus.st_size) != size)
    {
        close(mDescriptor);
        FailSinceChanged();
    }
}

InputFile::~InputFile()
{
    close(mDescriptor);
}

void InputFile::Read(uint64 offset, char *buffer, std::size_t size) const
{
    while (size > 0)
    {
        const ssize_t count = pread(mDescriptor, buffer, size, static_cast<off_t>(offset));
        if (count < 0 && errno != EINTR)
        {
            Fail();
        }
        if (count == 0)
        {
            FailSinceChanged();
        }
        const std::size_t done = count > 0 ? static_cast<std::size_t>(count) : 0;
        offset += done;
        buffer += done;
        size -= done;
    }
}

void InputFile::RequireUnchanged() const
{
    struct stat now = {};
    const bool same = fstat(mDescriptor, &now) == 0 && now.st_size == mStatus.st_size &&
                      IsSame(now.st_mtim, mStatus.st_mtim) && IsSame(now.st_ctim, mStatus.st_ctim);
    if (!same)
    {
        FailSinceChanged();
    }
}

void InputFile::Fail() const
{
    throw TreeError(mPath + ": cannot be read: " + std::strerror(errno));
}

void InputFile::FailSinceChanged() const
{
    throw TreeError(mPath + ": changed while it was packed: pack again");
}
} // namespace Keld::TreeWriter
