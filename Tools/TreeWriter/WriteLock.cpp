#include "Tools/TreeWriter/WriteLock.h"

#include <cerrno>
#include <chrono>
#include <system_error>
#include <thread>

#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;

namespace
{
constexpr std::chrono::milliseconds Pause(50);

/// So often may a parent vanish under us, removed by the holder before, until we believe that it cannot be made at all.
constexpr int VanishedParentLimit = 100;

[[noreturn]] void Fail(const std::string &what, const fs::path &directory)
{
    throw std::system_error(errno, std::generic_category(), what + " " + directory.string());
}

/// Whether a descriptor is of the directory that has the path now: the one that was opened may be removed since.
bool IsStillAt(int descriptor, const fs::path &directory)
{
    struct stat opened = {};
    struct stat present = {};
    return fstat(descriptor, &opened) == 0 && stat(directory.c_str(), &present) == 0 &&
           opened.st_ino == present.st_ino && opened.st_dev == present.st_dev;
}

/// Whether a path is a symbolic link to nothing. Nobody who holds a lock leaves one, so that waiting would not end it.
bool IsDanglingLink(const fs::path &path)
{
    std::error_code ignored;
    return fs::is_symlink(fs::symlink_status(path, ignored)) &&
           fs::status(path, ignored).type() == fs::file_type::not_found;
}
} // namespace

WriteLock::WriteLock(const fs::path &directory, const std::function<void()> &whileWaiting) : mDirectory(directory)
{
    try
    {
        while (!TryLock(directory))
        {
            whileWaiting();
            std::this_thread::sleep_for(Pause);
        }
    }
    catch (...)
    {
        RemoveEmptyDirectories();
        throw;
    }
}

WriteLock::~WriteLock()
{
    RemoveEmptyDirectories();
    close(mDescriptor);
}

void WriteLock::RemoveWhenEmpty()
{
    mMade = {mDirectory.parent_path(), mDirectory};
}

/// False while somebody else holds the lock.
bool WriteLock::TryLock(const fs::path &directory)
{
    if (!MakeDirectories(directory))
    {
        return false;
    }
    const int descriptor = open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (descriptor < 0)
    {
        if (errno == ENOENT)
        {
            return false; // its last holder has just removed it
        }
        Fail("cannot open", directory);
    }
    const bool locked = flock(descriptor, LOCK_EX | LOCK_NB) == 0;
    const int reason = locked ? 0 : errno;
    if (locked && IsStillAt(descriptor, directory))
    {
        mDescriptor = descriptor;
        return true;
    }
    close(descriptor);
    if (!locked && reason != EWOULDBLOCK && reason != EINTR)
    {
        errno = reason;
        Fail("cannot lock", directory);
    }
    return false;
}

/// False when a parent was removed meanwhile: try again.
bool WriteLock::MakeDirectories(const fs::path &directory)
{
    std::vector<fs::path> missing;
    for (fs::path path = directory; !path.empty() && !fs::exists(path); path = path.parent_path())
    {
        missing.push_back(path);
    }
    for (; !missing.empty(); missing.pop_back())
    {
        if (mkdir(missing.back().c_str(), 0777) == 0)
        {
            mMade.push_back(missing.back());
        }
        else if (errno == ENOENT && ++mVanishedParents < VanishedParentLimit)
        {
            return false;
        }
        else if (errno != EEXIST)
        {
            Fail("cannot make", missing.back());
        }
        else if (IsDanglingLink(missing.back()))
        {
            errno = ENOENT;
            Fail("cannot follow the link", missing.back());
        }
    }
    return true;
}

void WriteLock::RemoveEmptyDirectories()
{
    // From the innermost on; one that holds something, or that somebody made anew, ends it.
    while (!mMade.empty() && rmdir(mMade.back().c_str()) == 0)
    {
        mMade.pop_back();
    }
    mMade.clear();
}
} // namespace Keld::TreeWriter
