#include "Tools/Common/OutputDirectory.h"

#include <algorithm>
#include <array>
#include <atomic>
#include <cerrno>
#include <cstdint>
#include <cstdio>
#include <filesystem>
#include <memory>
#include <system_error>
#include <vector>

#include <dirent.h>
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

// ".morv-", the key of the process in so many digits, and "-" before the number of the file.
constexpr std::string_view TemporaryPrefix = ".morv-";
constexpr std::size_t KeyDigits = 16;

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
    std::snprintf(name.data(), name.size(), "%s%0*llx-%x", TemporaryPrefix.data(), int{KeyDigits},
                  static_cast<unsigned long long>(key), ++counter);
    return name.data();
}

bool IsTemporaryName(std::string_view name)
{
    const auto isDigit = [](char letter)
    {
        return (letter >= '0' && letter <= '9') || (letter >= 'a' && letter <= 'f');
    };
    constexpr std::size_t dash = TemporaryPrefix.size() + KeyDigits;
    return name.size() > dash + 1 && name.starts_with(TemporaryPrefix) && name[dash] == '-' &&
           std::all_of(name.begin() + TemporaryPrefix.size(), name.begin() + dash, isDigit) &&
           std::all_of(name.begin() + dash + 1, name.end(), isDigit);
}

/// Whether a name in a directory still stands for an open file.
bool IsStillNamed(int directory, const std::string &name, const struct stat &opened)
{
    struct stat present = {};
    return fstatat(directory, name.c_str(), &present, AT_SYMLINK_NOFOLLOW) == 0 && present.st_ino == opened.st_ino &&
           present.st_dev == opened.st_dev;
}

/// Those that look like temporary files; none where the directory cannot be read.
std::vector<std::string> ListTemporaryNames(int directory)
{
    Descriptor own(openat(directory, ".", DirectoryFlags)); // with a position of its own
    const auto closer = [](DIR *stream)
    {
        closedir(stream);
    };
    const std::unique_ptr<DIR, decltype(closer)> listed(own.IsOpen() ? fdopendir(own.Get()) : nullptr, closer);
    std::vector<std::string> names;
    if (listed != nullptr)
    {
        own.Release();
        while (const dirent *const entry = readdir(listed.get()))
        {
            if (IsTemporaryName(entry->d_name))
            {
                names.emplace_back(entry->d_name);
            }
        }
    }
    return names;
}

/// Whoever holds its lock may remove it, as long as its maker did not give it its name meanwhile.
bool RemoveWhenLeft(int directory, const std::string &name)
{
    const Descriptor file(openat(directory, name.c_str(), O_WRONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct stat opened = {};
    return file.IsOpen() && fstat(file.Get(), &opened) == 0 && S_ISREG(opened.st_mode) && opened.st_nlink == 1 &&
           flock(file.Get(), LOCK_EX | LOCK_NB) == 0 && IsStillNamed(directory, name, opened) &&
           unlinkat(directory, name.c_str(), 0) == 0;
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
    constexpr int mostTries = 16; // a file system that cannot tell shall not keep us here
    for (int tries = 1;; ++tries)
    {
        mTemporaryName = MakeTemporaryName();
        mFile = Descriptor(openat(mDirectory, mTemporaryName.c_str(), flags, FileMode));
        if (!mFile.IsOpen())
        {
            Fail(errno, "cannot make the file");
        }
        if (IsHeld() || tries == mostTries)
        {
            return;
        }
        unlinkat(mDirectory, mTemporaryName.c_str(), 0);
    }
}

/// Locks the new file, so that nobody takes it for a leftover. False when somebody just has. Where there are no locks
/// nobody does.
bool NewFile::IsHeld() const
{
    struct stat status = {};
    const bool isTaken = flock(mFile.Get(), LOCK_EX | LOCK_NB) != 0 && errno == EWOULDBLOCK;
    return !isTaken && fstat(mFile.Get(), &status) == 0 && status.st_nlink != 0;
}

void NewFile::OpenKnown()
{
    constexpr std::size_t longestPart = 200; // of the name, so that there is room for more
    mTemporaryName = std::string(TemporaryPrefix) + mName.substr(0, longestPart);
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
    return IsStillNamed(mDirectory, mTemporaryName, opened);
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

std::size_t RemoveLeftovers(int directory)
{
    const std::vector<std::string> names = ListTemporaryNames(directory);
    return static_cast<std::size_t>(std::count_if(names.begin(), names.end(),
                                                  [directory](const std::string &name)
                                                  {
                                                      return RemoveWhenLeft(directory, name);
                                                  }));
}
} // namespace Keld::Common
