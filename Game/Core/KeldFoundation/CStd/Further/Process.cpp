#include "KeldFoundation/CStd/Further/Process.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/Further/Directories.h"
#include "KeldFoundation/CStd/Further/Strings.h"
#include "KeldFoundation/CStd/PathLimit.h"

#include <unistd.h>

namespace Keld
{
namespace
{
constexpr const char *BundleEnd = ".app";
constexpr uint_size BundleEndLength = 4;

bool Give(const char *text, uint_size length, char *buffer, uint_size size)
{
    const bool fits = length != 0 && length < size;
    std_strlcpy(buffer, size, "");
    if (fits)
    {
        std_strncpy(buffer, size, text, length);
    }
    return fits;
}

// The program's path, read at each use.
class ExecutablePath
{
public:
    ExecutablePath()
    {
        const ssize_t length = readlink("/proc/self/exe", mPath, sizeof mPath);
        // A path that fills the buffer may have been cut there.
        const bool whole = length > 0 && static_cast<uint_size>(length) < sizeof mPath;
        mPath[whole ? length : 0] = '\0';
    }

    const char *Text() const { return mPath; }

    const char *Name() const
    {
        const char *const separator = std_strrchr(mPath, '/');
        return separator != nullptr ? separator + 1 : mPath;
    }

private:
    char mPath[PathBufferSize];
};
} // namespace

bool std_executable_path(char *buffer, uint_size size)
{
    const ExecutablePath path;
    return Give(path.Text(), std_strlen(path.Text()), buffer, size);
}

bool std_executable_real_path(char *buffer, uint_size size)
{
    const ExecutablePath path;
    return std_realpath(path.Text(), buffer, size);
}

bool std_executable_name(char *buffer, uint_size size)
{
    const ExecutablePath path;
    return Give(path.Name(), std_strlen(path.Name()), buffer, size);
}

bool std_executable_directory(char *buffer, uint_size size)
{
    const ExecutablePath path;
    return Give(path.Text(), static_cast<uint_size>(path.Name() - path.Text()), buffer, size);
}

bool std_bundle_directory(char *buffer, uint_size size)
{
    const ExecutablePath path;
    return std_bundle_directory_of(path.Text(), buffer, size);
}

bool std_bundle_directory_of(const char *path, char *buffer, uint_size size)
{
    if (std_ends_with(path, BundleEnd))
    {
        return Give(path, std_strlen(path), buffer, size);
    }
    const char *const inside = std_strrstr(path, ".app/");
    const uint_size length = inside != nullptr ? static_cast<uint_size>(inside - path) + BundleEndLength : 0;
    return Give(path, length, buffer, size);
}
} // namespace Keld
