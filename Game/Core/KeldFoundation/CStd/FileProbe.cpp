#include "KeldFoundation/CStd/FileProbe.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/FileStatus.h"

#include <cstring>

#include <fcntl.h>
#include <linux/capability.h>
#include <sys/fsuid.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Keld
{
namespace
{
constexpr uid_t NoUser = static_cast<uid_t>(-1);
constexpr gid_t NoGroup = static_cast<gid_t>(-1);

// Rights beyond those of the user, by which `stat` may see more than `access`, which leaves them out.
bool HasCapabilities()
{
    __user_cap_header_struct header{_LINUX_CAPABILITY_VERSION_3, 0};
    __user_cap_data_struct sets[_LINUX_CAPABILITY_U32S_3] = {};
    return syscall(SYS_capget, &header, sets) != 0 || (sets[0].effective | sets[1].effective) != 0;
}

// `access` asks in the name of the real user, `stat` in that of the effective one, or of the one set for files alone.
// Setting an impossible one changes nothing, and tells what is set.
bool IsOneUser()
{
    const uid_t user = getuid();
    const gid_t group = getgid();
    return user == geteuid() && group == getegid() && user == static_cast<uid_t>(setfsuid(NoUser)) &&
           group == static_cast<gid_t>(setfsgid(NoGroup)) && (user == 0 || !HasCapabilities());
}

bool IsRegular(const struct stat &status)
{
    return IsRegularMode(static_cast<uint32>(status.st_mode) & 0xFFFF);
}
} // namespace

FileProbe::FileProbe() : mQueriesAgree(IsOneUser()) {}

FileProbe::~FileProbe()
{
    Release();
}

bool FileProbe::Exists(const char *path)
{
    if (!mQueriesAgree)
    {
        return std_file_exists(path);
    }
    const char *const separator = std_strrchr(path, '/');
    const char *const name = separator != nullptr ? separator + 1 : path;
    struct stat status;
    if (IsBesideLast(path, name) && fstatat(mDescriptor, name, &status, 0) == 0)
    {
        return IsRegular(status);
    }
    return stat(path, &status) == 0 && IsRegular(status);
}

// Whether the path's directory is open. A path that ends in a '/' names the directory itself, and is asked for whole.
bool FileProbe::IsBesideLast(const char *path, const char *name)
{
    const auto length = static_cast<uint_size>(name - path);
    if (*name == '\0' || mDirectory.size() != length || std::memcmp(mDirectory.data(), path, length) != 0)
    {
        Release();
        mDirectory.assign(path, length);
        return false;
    }
    if (!mHasTried && length != 0)
    {
        mHasTried = true;
        mDescriptor = open(mDirectory.c_str(), O_PATH | O_DIRECTORY | O_CLOEXEC);
    }
    return mDescriptor >= 0;
}

void FileProbe::Release()
{
    if (mDescriptor >= 0)
    {
        close(mDescriptor);
    }
    mDescriptor = -1;
    mHasTried = false;
}
} // namespace Keld
