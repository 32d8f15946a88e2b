#include "Benchmarks/Comparison/Content.h"
#include "Benchmarks/Comparison/Groups.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <memory>
#include <system_error>

#include <fcntl.h>
#include <mntent.h>
#include <sys/file.h>
#include <sys/mount.h>
#include <unistd.h>

namespace Keld::Benchmarks
{
namespace
{
namespace fs = std::filesystem;

constexpr const char *NamePrefix = "keldbenchmark-";

fs::path PlaceOfWorkplaces()
{
    const char *const chosen = std::getenv("TMPDIR");
    return chosen != nullptr ? chosen : "/var/tmp";
}

struct MountsCloser
{
    void operator()(std::FILE *mounts) const { endmntent(mounts); }
};

/// Where something is mounted below a directory, what was mounted last in front.
std::vector<std::string> MountsBelow(const fs::path &directory)
{
    const std::unique_ptr<std::FILE, MountsCloser> mounts(setmntent("/proc/self/mounts", "r"));
    std::vector<std::string> found;
    while (const mntent *const mount = mounts != nullptr ? getmntent(mounts.get()) : nullptr)
    {
        if (std::string_view(mount->mnt_dir).starts_with(directory.string() + "/"))
        {
            found.emplace_back(mount->mnt_dir);
        }
    }
    std::reverse(found.begin(), found.end());
    return found;
}

/// Not before all is unmounted: a removal must never walk into an image.
void RemoveWorkplace(const fs::path &directory)
{
    for (const std::string &mount : MountsBelow(directory))
    {
        umount2(mount.c_str(), MNT_DETACH);
    }
    if (!MountsBelow(directory).empty())
    {
        PrintNote(directory.string() + " is left: something in it cannot be unmounted");
        return;
    }
    std::error_code ignored;
    fs::remove_all(directory, ignored);
}

/// The directory, open and locked, or -1 when it is another's.
int LockDirectory(const fs::path &directory)
{
    const int lock = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC);
    if (lock >= 0 && flock(lock, LOCK_EX | LOCK_NB) != 0)
    {
        close(lock);
        return -1;
    }
    return lock;
}
} // namespace

Workplace::Workplace()
{
    std::string pattern = (PlaceOfWorkplaces() / (std::string(NamePrefix) + "XXXXXX")).string();
    if (mkdtemp(pattern.data()) == nullptr)
    {
        throw std::system_error(errno, std::generic_category(), pattern);
    }
    mPath = fs::canonical(pattern);
    mLock = LockDirectory(mPath);
}

Workplace::~Workplace()
{
    RemoveWorkplace(mPath);
    close(mLock);
}

void RemoveLeftWorkplaces()
{
    std::vector<fs::path> found;
    for (const fs::directory_entry &entry : fs::directory_iterator(PlaceOfWorkplaces()))
    {
        if (entry.path().filename().string().starts_with(NamePrefix) && entry.is_directory())
        {
            found.push_back(fs::canonical(entry.path()));
        }
    }
    for (const fs::path &directory : found)
    {
        const int lock = LockDirectory(directory);
        if (lock >= 0)
        {
            RemoveWorkplace(directory);
            close(lock);
        }
    }
}
} // namespace Keld::Benchmarks
