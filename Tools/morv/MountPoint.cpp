#include "Tools/morv/MountPoint.h"

#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/TreeError.h"

#include <cerrno>
#include <climits>
#include <cstdlib>
#include <cstring>

#include <sys/stat.h>
#include <sys/vfs.h>

namespace Keld::Morv
{
using TreeReader::TreeError;

namespace
{
constexpr auto FuseMagic = 0x65735546; // of statfs, for every file system of this kind

std::string UnmountCall(const std::string &mountPoint)
{
    return "\"fusermount3 -u " + mountPoint + "\" takes it away";
}

[[noreturn]] void ExplainUnreachable(const std::string &typed, int error)
{
    switch (error)
    {
    case ENOTCONN:
    case ECONNABORTED:
        throw TreeError(typed + ": a mount stands there whose process has ended; " + UnmountCall(typed));
    case ENOENT:
        throw TreeError(typed + ": is not there; make the directory first");
    default:
        throw TreeError(typed + ": cannot be mounted on: " + std::strerror(error));
    }
}

/// Whether a directory of such a file system is the root of a mount.
bool IsMountRoot(const std::string &directory)
{
    struct stat own = {};
    struct stat parent = {};
    return stat(directory.c_str(), &own) == 0 && stat((directory + "/..").c_str(), &parent) == 0 &&
           own.st_dev != parent.st_dev;
}

bool LiesIn(const std::string &path, const std::string &directory)
{
    const std::string prefix = directory == "/" ? directory : directory + "/";
    return path == directory || path.starts_with(prefix);
}
} // namespace

std::string CheckMountPoint(const std::string &typed, bool allowNonEmpty)
{
    char resolved[PATH_MAX];
    struct stat status = {};
    struct statfs system = {};
    // Of a mount that was left behind the kernel may still know the root, but nothing of the whole.
    if (realpath(typed.c_str(), resolved) == nullptr || stat(resolved, &status) != 0 || statfs(resolved, &system) != 0)
    {
        ExplainUnreachable(typed, errno);
    }
    if (!S_ISDIR(status.st_mode))
    {
        throw TreeError(typed + ": is no directory; a mount needs one, and an empty one is best");
    }
    if (system.f_type == FuseMagic && IsMountRoot(resolved))
    {
        throw TreeError(typed + ": something is mounted there already; " + UnmountCall(typed));
    }
    const auto names = TreeReader::ReadNames(resolved);
    if (!names)
    {
        throw TreeError(names.GetFault().GetMessage());
    }
    if (!names->empty() && !allowNonEmpty)
    {
        throw TreeError(typed +
                        ": is not empty, and a mount would hide what is there; take another directory, or say " +
                        "\"-o nonempty\"");
    }
    return resolved;
}

void CheckApart(const std::string &mountPoint, const std::string &treeRoot)
{
    char resolved[PATH_MAX];
    const std::string root = realpath(treeRoot.c_str(), resolved) != nullptr ? resolved : treeRoot;
    if (LiesIn(mountPoint, root) || LiesIn(root, mountPoint))
    {
        throw TreeError(mountPoint + ": a mount there would hide what it serves, from " + root +
                        "; take a directory outside of it");
    }
}
} // namespace Keld::Morv
