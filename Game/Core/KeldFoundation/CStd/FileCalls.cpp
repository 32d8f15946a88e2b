#include "KeldFoundation/CStd/CStd.h"

#include "KeldFoundation/CStd/FileMode.h"
#include "KeldFoundation/CStd/SlashedPath.h"

#include <unistd.h>

namespace Keld
{
namespace
{
struct Span
{
    const char *begin;
    uint_size length;
};

struct PathParts
{
    Span directory;
    Span name;
    Span extension;
};

bool IsSeparator(char character)
{
    return character == '/' || character == '\\';
}

PathParts SplitAtSeparatorAndDot(const char *path)
{
    const char *separator = nullptr;
    const char *dot = nullptr;
    const char *end = path;
    for (; *end != '\0'; ++end)
    {
        if (IsSeparator(*end))
        {
            separator = end;
            dot = nullptr;
        }
        else if (*end == '.')
        {
            dot = end;
        }
    }

    const char *name = separator != nullptr ? separator + 1 : path;
    const char *extension = dot != nullptr ? dot : end;
    Span directory{".", 1};
    if (separator != nullptr)
    {
        directory = Span{path, separator == path ? 1 : static_cast<uint_size>(separator - path)};
    }
    return PathParts{directory, Span{name, static_cast<uint_size>(extension - name)},
                     Span{extension, static_cast<uint_size>(end - extension)}};
}

void Empty(char *dest, uint_size size)
{
    if (dest != nullptr && size != 0)
    {
        dest[0] = '\0';
    }
}

void Store(char *dest, uint_size size, const Span &part)
{
    if (dest != nullptr)
    {
        std_strncpy(dest, size, part.begin, part.length);
    }
}
} // namespace

std::FILE *std_fopen(const char *path, const char *mode)
{
    char slashed[PathCapacity];
    return CopyWithSlashes(slashed, path) ? std::fopen(slashed, mode) : nullptr;
}

int std_fclose(std::FILE *file)
{
    return std::fclose(file);
}

uint_size std_fread(void *buffer, uint_size size, uint_size count, std::FILE *file)
{
    return std::fread(buffer, size, count, file);
}

int std_fseek(std::FILE *file, long offset, int origin)
{
    return std::fseek(file, offset, origin);
}

int std_ferror(std::FILE *file)
{
    return std::ferror(file);
}

uint32 std_file_size(const char *path)
{
    const FileStatus status = GetFileStatus(path);
    return status.exists && IsRegularMode(status.mode) ? static_cast<uint32>(status.size) : FileSizeUnknown;
}

bool std_file_exists(const char *path)
{
    return access(path, F_OK) == 0 && IsRegularMode(GetFileStatus(path).mode);
}

bool std_file_delete(const char *path)
{
    const FileStatus status = GetFileStatus(path);
    if (!status.exists || !IsEntryMode(status.mode))
    {
        return true;
    }
    return std::remove(path) == 0;
}

bool std_access(const char *path, int mode)
{
    const bool known = mode == F_OK || mode == W_OK || mode == R_OK || mode == (R_OK | W_OK);
    const char *const slashed = SharedSlashedPath(path);
    return slashed != nullptr && access(slashed, known ? mode : F_OK) == 0;
}

bool std_getcwd(uint_size size, char *buffer)
{
    return getcwd(buffer, size) != nullptr;
}

bool std_splitpath(const char *path, char *drive, uint_size driveSize, char *dir, uint_size dirSize, char *fname,
                   uint_size fnameSize, char *ext, uint_size extSize)
{
    Empty(drive, driveSize);
    Empty(dir, dirSize);
    Empty(fname, fnameSize);
    Empty(ext, extSize);
    if (path == nullptr || path[0] == '\0')
    {
        return false;
    }
    const PathParts parts = SplitAtSeparatorAndDot(path);
    Store(dir, dirSize, parts.directory);
    Store(fname, fnameSize, parts.name);
    Store(ext, extSize, parts.extension);
    return true;
}
} // namespace Keld
