#include "KeldFoundation/CStd/ReadyFiles.h"

#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldFoundation/CStd/SlashedPath.h"

#include <cerrno>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keld
{
namespace
{
void CloseFor(int descriptor, int error)
{
    close(descriptor);
    errno = error;
}
} // namespace

int std_open_ready(const char *path)
{
    // O_NONBLOCK means nothing to regular files.
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC | O_NONBLOCK | O_NOCTTY);
    if (descriptor == -1)
    {
        return -1;
    }
    struct stat status = {};
    if (fstat(descriptor, &status) == 0 && !S_ISREG(status.st_mode) && !S_ISDIR(status.st_mode))
    {
        CloseFor(descriptor, EINVAL);
        return -1;
    }
    return descriptor;
}

std::FILE *std_fopen_ready(const char *path)
{
    char slashed[PathBufferSize];
    const int descriptor = CopyWithSlashes(slashed, path) ? std_open_ready(slashed) : -1;
    if (descriptor == -1)
    {
        return nullptr;
    }
    std::FILE *const stream = fdopen(descriptor, "r");
    if (stream == nullptr)
    {
        CloseFor(descriptor, errno);
    }
    return stream;
}
} // namespace Keld
