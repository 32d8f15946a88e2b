#include "KeldFoundation/CStd/Process.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/Directories.h"
#include "KeldFoundation/CStd/Strings.h"

#include <string>

#include <unistd.h>

namespace Keld
{
namespace
{
constexpr const char *BundleEnd = ".app";
constexpr uint_size BundleEndLength = 4;

bool Give(const std::string &text, char *buffer, uint_size size)
{
    const bool fits = !text.empty() && text.size() < size;
    std_strlcpy(buffer, size, fits ? text.c_str() : "");
    return fits;
}

// Empty when the path fills the buffer: it may have been cut there.
std::string ExecutablePath()
{
    char path[PathCapacity];
    const ssize_t length = readlink("/proc/self/exe", path, sizeof path);
    const bool whole = length > 0 && static_cast<uint_size>(length) < sizeof path;
    return whole ? std::string(path, static_cast<uint_size>(length)) : std::string();
}
} // namespace

bool std_executable_path(char *buffer, uint_size size)
{
    return Give(ExecutablePath(), buffer, size);
}

bool std_executable_real_path(char *buffer, uint_size size)
{
    return std_realpath(ExecutablePath().c_str(), buffer, size);
}

bool std_executable_name(char *buffer, uint_size size)
{
    const std::string path = ExecutablePath();
    return Give(path.substr(path.rfind('/') + 1), buffer, size);
}

bool std_executable_directory(char *buffer, uint_size size)
{
    const std::string path = ExecutablePath();
    return Give(path.substr(0, path.rfind('/') + 1), buffer, size);
}

bool std_bundle_directory(char *buffer, uint_size size)
{
    return std_bundle_directory_of(ExecutablePath().c_str(), buffer, size);
}

bool std_bundle_directory_of(const char *path, char *buffer, uint_size size)
{
    if (std_ends_with(path, BundleEnd))
    {
        return Give(path, buffer, size);
    }
    const char *const inside = std_strrstr(path, ".app/");
    const std::string bundle =
        inside != nullptr ? std::string(path, static_cast<uint_size>(inside - path) + BundleEndLength) : std::string();
    return Give(bundle, buffer, size);
}
} // namespace Keld
