#include "KeldFoundation/CStd/CStd.h"

#include "KeldFoundation/CStd/FileStatus.h"
#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldFoundation/CStd/SlashedPath.h"

#include <unistd.h>

namespace Keld
{
std::FILE *std_fopen(const char *path, const char *mode)
{
    char slashed[PathBufferSize];
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

uint_size std_fwrite(const void *buffer, uint_size size, uint_size count, std::FILE *file)
{
    return std::fwrite(buffer, size, count, file);
}

char *std_fgets(char *buffer, int size, std::FILE *file)
{
    return std::fgets(buffer, size, file);
}

int std_fputs(const char *text, std::FILE *file)
{
    return std::fputs(text, file);
}

int std_fflush(std::FILE *file)
{
    return std::fflush(file);
}

long std_ftell(std::FILE *file)
{
    return std::ftell(file);
}

int std_fseek(std::FILE *file, long offset, int origin)
{
    return std::fseek(file, offset, origin);
}

int std_feof(std::FILE *file)
{
    return std::feof(file);
}

int std_ferror(std::FILE *file)
{
    return std::ferror(file);
}

int std_setvbuf(std::FILE *file, char *buffer, int mode, uint_size size)
{
    return std::setvbuf(file, buffer, mode, size);
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
} // namespace Keld
