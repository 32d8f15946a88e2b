#include "Trees/TreeOnDisk.h"

#include "FuzzSupport.h"

#include <algorithm>
#include <cerrno>
#include <cstdio>
#include <cstdlib>
#include <filesystem>

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace Keld::Fuzz
{
namespace
{
std::string ChooseParent()
{
    const char *chosen = std::getenv("TMPDIR");
    if (chosen != nullptr && *chosen != '\0')
    {
        return chosen;
    }
    return access("/dev/shm", W_OK) == 0 ? "/dev/shm" : "/tmp";
}

bool WriteWhole(const std::string &path, std::string_view bytes)
{
    const int descriptor = open(path.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_NOFOLLOW | O_CLOEXEC, 0644);
    if (descriptor == -1)
    {
        return false;
    }
    Require(write(descriptor, bytes.data(), bytes.size()) == static_cast<ssize_t>(bytes.size()), "a file is written");
    close(descriptor);
    return true;
}

using WantedEntries = std::map<std::string, const TreeEntry *>;

/// Whether something other than a directory is wanted on the way to a path.
bool IsBarred(const WantedEntries &wanted, const std::string &path)
{
    for (std::size_t end = path.find('/'); end != std::string::npos; end = path.find('/', end + 1))
    {
        const auto found = wanted.find(path.substr(0, end));
        if (found != wanted.end() && found->second->kind != TreeEntry::Directory)
        {
            return true;
        }
    }
    return false;
}

WantedEntries ChooseWanted(const TreeInput &input, std::string_view elsewhere)
{
    WantedEntries wanted;
    for (const TreeEntry &entry : input.entries)
    {
        const bool isElsewhere = !elsewhere.empty() && entry.path.starts_with(elsewhere);
        if (!isElsewhere && IsPlainPath(entry.path))
        {
            wanted.emplace(entry.path, &entry);
        }
    }
    for (auto at = wanted.begin(); at != wanted.end();)
    {
        at = IsBarred(wanted, at->first) ? wanted.erase(at) : std::next(at);
    }
    return wanted;
}

bool IsSame(const TreeEntry &left, const TreeEntry &right)
{
    return left.kind == right.kind && left.bytes == right.bytes;
}
} // namespace

TreeOnDisk::TreeOnDisk()
{
    std::string pattern = std::filesystem::canonical(ChooseParent()).string() + "/keld-fuzz-XXXXXX";
    Require(mkdtemp(pattern.data()) != nullptr, "a directory of its own can be made");
    mRoot = pattern;
}

TreeOnDisk::~TreeOnDisk()
{
    std::error_code ignored;
    std::filesystem::remove_all(mRoot, ignored);
}

void TreeOnDisk::Become(const TreeInput &input, std::string_view elsewhere)
{
    const WantedEntries wanted = ChooseWanted(input, elsewhere);
    std::erase_if(mPresent,
                  [&](const auto &present)
                  {
                      const auto &[path, entry] = present;
                      const auto found = wanted.find(path);
                      const bool stays = found != wanted.end() && IsSame(entry, *found->second);
                      if (!stays)
                      {
                          Remove(path);
                      }
                      return !stays || (path.ends_with(".vka") && !Has(path));
                  });
    for (const auto &[path, entry] : wanted)
    {
        if (mPresent.count(path) == 0 && Make(*entry))
        {
            mPresent.emplace(path, *entry);
        }
    }
}

bool TreeOnDisk::Has(const std::string &relative) const
{
    struct stat status = {};
    return lstat(GetPath(relative).c_str(), &status) == 0;
}

bool TreeOnDisk::MakeDirectory(const std::string &name) const
{
    struct stat status = {};
    const std::string path = GetPath(name);
    return mkdir(path.c_str(), 0755) == 0 || (lstat(path.c_str(), &status) == 0 && S_ISDIR(status.st_mode));
}

void TreeOnDisk::Clear()
{
    for (const auto &entry : std::filesystem::directory_iterator(mRoot))
    {
        std::filesystem::remove_all(entry.path());
    }
    mPresent.clear();
}

void TreeOnDisk::Discard(const std::string &name)
{
    const auto isInside = [&](const auto &present)
    {
        return present.first == name || present.first.starts_with(name + "/");
    };
    const auto leadsOut = [&](const auto &present)
    {
        const auto &[path, entry] = present;
        return isInside(present) &&
               (entry.kind == TreeEntry::WayOut || (entry.kind == TreeEntry::Link && path == name));
    };
    if (std::any_of(mPresent.begin(), mPresent.end(), leadsOut))
    {
        Clear();
        return;
    }
    std::filesystem::remove_all(GetPath(name));
    std::erase_if(mPresent, isInside);
}

bool TreeOnDisk::Make(const TreeEntry &entry) const
{
    const std::string path = GetPath(entry.path);
    const auto make = [&]
    {
        switch (entry.kind)
        {
        case TreeEntry::Directory:
            return mkdir(path.c_str(), 0755) == 0;
        case TreeEntry::Fifo:
            return mkfifo(path.c_str(), 0644) == 0;
        case TreeEntry::Link:
            return IsPlainPath(entry.bytes) && entry.bytes.find('/') == std::string::npos &&
                   symlink(entry.bytes.c_str(), path.c_str()) == 0;
        case TreeEntry::WayOut:
            return symlink(GetPath("outside").c_str(), path.c_str()) == 0;
        default:
            return WriteWhole(path, entry.bytes);
        }
    };
    return make() || (errno == ENOENT && MakeParents(entry.path) && make());
}

bool TreeOnDisk::MakeParents(const std::string &path) const
{
    const std::size_t end = path.rfind('/');
    if (end == std::string::npos)
    {
        return false;
    }
    const std::string parent = path.substr(0, end);
    const auto make = [&]
    {
        return mkdir(GetPath(parent).c_str(), 0755) == 0 || errno == EEXIST;
    };
    return make() || (errno == ENOENT && MakeParents(parent) && make());
}

void TreeOnDisk::Remove(const std::string &relative) const
{
    // A directory that has become empty goes too, so that what an input finds does not depend on the one before.
    std::string path = relative;
    for (bool isGone = std::remove(GetPath(path).c_str()) == 0 || errno == ENOENT;
         isGone && path.find('/') != std::string::npos;)
    {
        path.erase(path.rfind('/'));
        isGone = rmdir(GetPath(path).c_str()) == 0;
    }
}

int FindFreeDescriptor()
{
    const int descriptor = open("/", O_PATH | O_CLOEXEC);
    Require(descriptor != -1, "a descriptor can be had");
    close(descriptor);
    return descriptor;
}
} // namespace Keld::Fuzz
