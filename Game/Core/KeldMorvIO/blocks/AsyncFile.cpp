#include "KeldMorvIO/blocks/AsyncFile.h"

#include <fcntl.h>
#include <unistd.h>

namespace Keld::MORV::Reader
{
// Close-on-exec: data files stay open for as long as the library is up, and programs that the consumer starts must not
// inherit them.
AsyncFile AsyncOpen(const char *path)
{
    const int descriptor = open(path, O_RDONLY | O_CLOEXEC);
    return descriptor == -1 ? AsyncFile::Null : static_cast<AsyncFile>(descriptor);
}

void AsyncClose(AsyncFile file)
{
    if (file != AsyncFile::Null)
    {
        close(static_cast<int>(file));
    }
}
} // namespace Keld::MORV::Reader
