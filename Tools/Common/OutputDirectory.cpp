#include "Tools/Common/OutputDirectory.h"

#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <linux/openat2.h>
#include <sys/file.h>
#include <sys/random.h>
#include <sys/stat.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace Keld::Common
{
namespace
{
constexpr int DirectoryFlags = O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC;
constexpr mode_t DirectoryMode = 0777; // less what the mask of the process says
constexpr mode_t FileMode = 0666;

[[noreturn]] void Fail(int error, const std::string &what)
{
    throw std::system_error(error, std::generic_category(), what);
}

int OpenHeldBelow(int directory, const std::string &relative)
{
    open_how how = {};
    how.flags = static_cast<std::uint64_t>(DirectoryFlags);
    how.resolve = RESOLVE_BENEATH | RESOLVE_NO_SYMLINKS | RESOLVE_NO_MAGICLINKS;
    return static_cast<int>(syscall(SYS_openat2, directory, relative.c_str(), &how, sizeof how));
}

/// A kernel without the call, or a sandbox that does not know it.
bool IsCallMissing(int error)
{
    return error == ENOSYS || error == EPERM;
}

/// A name that nobody can foresee, so that a hostile tree cannot list it.
std::string MakeTemporaryName()
{
    static const std::uint64_t key = []
    {
        std::uint64_t random = 0;
        if (getrandom(&random, sizeof random, 0) != static_cast<ssize_t>(sizeof random))
        {
            Fail(errno, "no random number to be had");
        }
        return random;
    }();
    static std::atomic<unsigned> counter{0};
    std::array<char, 64> name;
    std::snprintf(name.data(), name.size(), ".morv-%016llx-%x", static_cast<unsigned long long>(key), ++counter);
    return name.data();
}
} // namespace

bool Descriptor::Close()
{
    const int number = Release();
    return number < 0 || close(number) == 0;
}

int Descriptor::Release()
{
    const int number = mNumber;
    mNumber = -1;
    return number;
}

OutputDirectory::OutputDirectory(const std::string &path, Way way) : mWay(way)
{
    std::error_code error;
    std::filesystem::create_directories(path, error); // a failure shows in the next step, unless all is well
    mDirectory = Descriptor(open(path.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (!mDirectory.IsOpen())
    {
        Fail(errno, path);
    }
}

Descriptor OutputDirectory::OpenBelow(const std::string &relative) const
{
    Descriptor directory(OpenExisting(relative));
    if (!directory.IsOpen() && errno == ENOENT)
    {
        Make(relative);
        directory = Descriptor(OpenExisting(relative));
    }
    if (!directory.IsOpen())
    {
        Refuse(relative, errno);
    }
    return directory;
}

int OutputDirectory::OpenExisting(const std::string &relative) const
{
    if (mWay == Way::KernelElseWalk)
    {
        const int number = OpenHeldBelow(mDirectory.Get(), relative.empty() ? "." : relative);
        if (number >= 0 || !IsCallMissing(errno))
        {
            return number;
        }
    }
    return OpenByWalk(relative);
}

int OutputDirectory::OpenByWalk(const std::string &relative) const
{
    Descriptor directory(openat(mDirectory.Get(), ".", DirectoryFlags));
    for (std::size_t begin = 0; directory.IsOpen() && begin < relative.size();)
    {
        const std::size_t end = std::min(relative.find('/', begin), relative.size());
        const std::string name = relative.substr(begin, end - begin);
        directory = Descriptor(openat(directory.Get(), name.c_str(), DirectoryFlags));
        begin = end + 1;
    }
    return directory.Release();
}

void OutputDirectory::Make(const std::string &relative) const
{
    const std::size_t cut = relative.rfind('/');
    const Descriptor parent = OpenBelow(cut == std::string::npos ? "" : relative.substr(0, cut));
    const std::string name = cut == std::string::npos ? relative : relative.substr(cut + 1);
    // Another thread may have made it, or it is no directory, which shows when it is opened.
    if (mkdirat(parent.Get(), name.c_str(), DirectoryMode) != 0 && errno != EEXIST)
    {
        Fail(errno, "cannot make the directory \"" + relative + "\"");
    }
}

/// Names the first part of the path that is to blame, where there is one.
void OutputDirectory::Refuse(const std::string &relative, int error) const
{
    for (std::size_t end = 0; end < relative.size();)
    {
        end = std::min(relative.find('/', end + 1), relative.size());
        const std::string part = relative.substr(0, end);
        struct stat status = {};
        if (fstatat(mDirectory.Get(), part.c_str(), &status, AT_SYMLINK_NOFOLLOW) == 0 && !S_ISDIR(status.st_mode))
        {
            Fail(error, S_ISLNK(status.st_mode) ? "\"" + part + "\" is a symbolic link there, and none is followed"
                                                : "\"" + part + "\" is no directory there");
        }
    }
    Fail(error, "cannot open the directory \"" + relative + "\"");
}

NewFile::NewFile(int directory, std::string name, Temporary temporary) : mDirectory(directory), mName(std::move(name))
{
    if (temporary == Temporary::Known)
    {
        OpenKnown();
    }
    else
    {
        OpenUnforeseen();
    }
}

void NewFile::OpenUnforeseen()
{
    constexpr int flags = O_WRONLY | O_CREAT | O_EXCL | O_NOFOLLOW | O_CLOEXEC;
    mTemporaryName = MakeTemporaryName();
    mFile = Descriptor(openat(mDirectory, mTemporaryName.c_str(), flags, FileMode));
    if (!mFile.IsOpen())
    {
        Fail(errno, "cannot make the file");
    }
}

void NewFile::OpenKnown()
{
    constexpr std::size_t longestPart = 200; // of the name, so that there is room for more
    mTemporaryName = ".morv-" + mName.substr(0, longestPart);
    while (!TryOpenKnown())
    {
    }
    if (ftruncate(mFile.Get(), 0) != 0)
    {
        Fail(errno, "cannot make the file");
    }
}

/// The lock ends with the process that writes the file, however it ends. False when its holder has just given the file
/// its name, or has removed it.
bool NewFile::TryOpenKnown()
{
    constexpr int flags = O_WRONLY | O_CREAT | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC;
    mFile = Descriptor(openat(mDirectory, mTemporaryName.c_str(), flags, FileMode));
    struct stat opened = {};
    if (!mFile.IsOpen() || fstat(mFile.Get(), &opened) != 0)
    {
        Fail(errno, "cannot make the file");
    }
    if (!S_ISREG(opened.st_mode) || opened.st_nlink > 1)
    {
        Fail(EEXIST, "cannot make the file " + mTemporaryName + ", which is something else");
    }
    if (flock(mFile.Get(), LOCK_EX | LOCK_NB) != 0)
    {
        Fail(errno, errno == EWOULDBLOCK ? "another process is writing the same file" : "cannot lock the file");
    }
    struct stat present = {};
    return fstatat(mDirectory, mTemporaryName.c_str(), &present, AT_SYMLINK_NOFOLLOW) == 0 &&
           present.st_ino == opened.st_ino && present.st_dev == opened.st_dev;
}

NewFile::~NewFile()
{
    if (!mTemporaryName.empty())
    {
        unlinkat(mDirectory, mTemporaryName.c_str(), 0);
    }
}

void NewFile::Write(std::string_view bytes)
{
    while (!bytes.empty())
    {
        const ssize_t count = write(mFile.Get(), bytes.data(), bytes.size());
        if (count < 0 && errno != EINTR)
        {
            Fail(errno, "cannot write");
        }
        bytes.remove_prefix(count > 0 ? static_cast<std::size_t>(count) : 0);
    }
}

void NewFile::Publish()
{
    const Descriptor lock(dup(mFile.Get())); // holds it until the file has its name
    if (!mFile.Close())
    {
        Fail(errno, "cannot write");
    }
    if (renameat(mDirectory, mTemporaryName.c_str(), mDirectory, mName.c_str()) != 0)
    {
        Fail(errno,
             errno == EISDIR || errno == ENOTEMPTY ? "a directory of its name is there" : "cannot name the file");
    }
    mTemporaryName.clear();
}
} // namespace Keld::Common
