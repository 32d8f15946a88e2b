#include "KeldFoundation/CStd/Further/Directories.h"

#include "KeldFoundation/CStd/Assertion.h"
#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/FileStatus.h"

#include <climits>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <string>

#include <dirent.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>

namespace Keld
{
namespace
{
constexpr uint32 OpenToEveryone = 0777;

struct CloseDirectory
{
    void operator()(DIR *directory) const { closedir(directory); }
};

bool IsSelfOrParent(const char *name)
{
    return std_strcmp(name, ".") == 0 || std_strcmp(name, "..") == 0;
}
} // namespace

bool std_chmod(const char *path, uint32 mode)
{
    return chmod(path, static_cast<mode_t>(mode)) == 0;
}

bool std_chdir(const char *path)
{
    return chdir(path) == 0;
}

bool std_rmdir(const char *path)
{
    return rmdir(path) == 0;
}

bool std_rename(const char *from, const char *to)
{
    return std::rename(from, to) == 0;
}

bool std_realpath(const char *path, char *buffer, uint_size size)
{
    char resolved[PATH_MAX]; // what the platform may write; its form with a buffer asks for no size
    const bool fits = realpath(path, resolved) != nullptr && std_strlen(resolved) < size;
    std_strlcpy(buffer, size, fits ? resolved : "");
    return fits;
}

bool std_directory_exists(const char *path)
{
    return access(path, F_OK) == 0 && IsDirectoryMode(GetFileStatus(path).mode);
}

bool std_entry_exists(const char *path)
{
    return IsEntryMode(GetFileStatus(path).mode);
}

bool std_mkdir(const char *path)
{
    const bool made = mkdir(path, OpenToEveryone) == 0;
    if (!made && !std_directory_exists(path))
    {
        return false;
    }
    const uint32 mode = GetFileStatus(path).mode & 07777;
    if ((mode & OpenToEveryone) != OpenToEveryone)
    {
        std_chmod(path, mode | OpenToEveryone); // a directory of somebody else's stays as it is
    }
    return true;
}

// Parents come first. The walk up ends at the first directory that is there: only the directory that the caller names,
// and those that are made on the way to it, are opened to everyone. Widening whatever stands above as well would open
// the directories of other owners, up to the root of the system when the superuser calls.
bool std_mkdir_tree(const char *path)
{
    KELD_ASSERT(path, nullptr, "bool Keld::std_mkdir_tree(const char *)");
    std::string copy = path;
    while (copy.size() > 1 && copy.back() == '/')
    {
        copy.pop_back();
    }
    const std::string::size_type separator = copy.rfind('/');
    const bool hasParent = separator != std::string::npos && separator != 0;
    if (hasParent)
    {
        const std::string parent = copy.substr(0, separator);
        if (!std_directory_exists(parent.c_str()) && !std_mkdir_tree(parent.c_str()))
        {
            return false;
        }
    }
    return std_mkdir(copy.c_str());
}

bool std_free_space(const char *path, uint64 *bytes)
{
    struct statvfs status;
    if (statvfs(path, &status) != 0)
    {
        return false;
    }
    *bytes = uint64{status.f_bavail} * status.f_frsize;
    return true;
}

char *std_list_directory(const char *path, uint_size *count)
{
    const std::unique_ptr<DIR, CloseDirectory> directory(opendir(path));
    if (directory == nullptr)
    {
        return nullptr;
    }
    std::string names;
    uint_size found = 0;
    while (const dirent *const entry = readdir(directory.get()))
    {
        if (!IsSelfOrParent(entry->d_name))
        {
            names.append(entry->d_name).push_back('\0');
            ++found;
        }
    }
    auto *const block = static_cast<char *>(std_malloc(names.size() + 1));
    if (block != nullptr)
    {
        std_memcpy(block, names.size() + 1, names.c_str(), names.size() + 1);
        if (count != nullptr)
        {
            *count = found;
        }
    }
    return block;
}
} // namespace Keld
