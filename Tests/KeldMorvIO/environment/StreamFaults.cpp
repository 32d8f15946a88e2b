#include "KeldMorvIO/environment/StreamFaults.h"

#include <cerrno>
#include <cstdio>
#include <dlfcn.h>

namespace
{
constexpr int Never = -1;

thread_local int gReadsLeft = Never;
thread_local int gNextCloseError = Never;

template <class Function>
Function NextDefinition(const char *name)
{
    return reinterpret_cast<Function>(dlsym(RTLD_NEXT, name));
}
} // namespace

extern "C" char *fgets(char *buffer, int size, FILE *stream)
{
    static const auto read = NextDefinition<char *(*)(char *, int, FILE *)>("fgets");
    if (gReadsLeft != 0)
    {
        gReadsLeft -= gReadsLeft > 0 ? 1 : 0;
        return read(buffer, size, stream);
    }
    gReadsLeft = Never;
    // A write to a stream that was opened for reading is refused, and marks the stream.
    std::fputc('x', stream);
    return nullptr;
}

extern "C" int fclose(FILE *stream)
{
    static const auto close = NextDefinition<int (*)(FILE *)>("fclose");
    const int result = close(stream);
    if (gNextCloseError == Never)
    {
        return result;
    }
    errno = gNextCloseError;
    gNextCloseError = Never;
    return EOF;
}

namespace Keld::Test
{
const int FailedReadError = EBADF;

void FailReadAfter(int count)
{
    gReadsLeft = count;
}

void FailNextClose(int error)
{
    gNextCloseError = error;
}
} // namespace Keld::Test
