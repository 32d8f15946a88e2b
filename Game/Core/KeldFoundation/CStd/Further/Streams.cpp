#include "KeldFoundation/CStd/Further/Streams.h"

#include "KeldFoundation/CStd/SlashedPath.h"

namespace Keld
{
std::FILE *std_fopen_shared(const char *path, const char *mode)
{
    const char *const slashed = SharedSlashedPath(path);
    return slashed != nullptr ? std::fopen(slashed, mode) : nullptr;
}

int std_vfprintf(std::FILE *file, const char *format, va_list arguments)
{
    return std::vfprintf(file, format, arguments);
}
} // namespace Keld
