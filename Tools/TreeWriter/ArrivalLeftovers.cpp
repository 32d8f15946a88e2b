#include "Tools/TreeWriter/ArrivalLeftovers.h"

#include "Tools/Common/OutputDirectory.h"
#include "Tools/TreeReader/DirectoryVisit.h"
#include "Tools/TreeWriter/DirectoryProtection.h"

#include <filesystem>
#include <system_error>

#include <fcntl.h>
#include <sys/file.h>
#include <unistd.h>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;

namespace
{
/// Open where nobody else holds it. Whoever waits for its lock sees afterwards that it went, and makes it anew.
Common::Descriptor LockLeftover(const fs::path &directory)
{
    Common::Descriptor descriptor(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_NOFOLLOW | O_CLOEXEC));
    const bool isFree = descriptor.IsOpen() && flock(descriptor.Get(), LOCK_EX | LOCK_NB) == 0;
    return isFree ? std::move(descriptor) : Common::Descriptor();
}

/// None where a link is called so: what it leads to was not collected for this tree.
std::vector<fs::path> ListArriving(const std::string &root)
{
    std::vector<fs::path> directories;
    const std::string place = root + "/" + ArrivingDirectory;
    std::error_code error;
    if (fs::is_symlink(fs::symlink_status(place, error)))
    {
        return directories;
    }
    RequireNoDoubt(TreeReader::VisitDirectory(place,
                                              [&directories](const std::string &path, const struct stat &status)
                                              {
                                                  if (S_ISDIR(status.st_mode))
                                                  {
                                                      directories.emplace_back(path);
                                                  }
                                                  return true;
                                              }));
    return directories;
}

std::string LeftoverPath(const fs::path &directory)
{
    return std::string(ArrivingDirectory) + "/" + directory.filename().string();
}
} // namespace

std::vector<std::string> FindArrivalLeftovers(const std::string &root)
{
    std::vector<std::string> leftovers;
    for (const fs::path &directory : ListArriving(root))
    {
        if (LockLeftover(directory).IsOpen())
        {
            leftovers.push_back(LeftoverPath(directory));
        }
    }
    return leftovers;
}

std::vector<std::string> RemoveArrivalLeftovers(const std::string &root)
{
    std::vector<std::string> removed;
    for (const fs::path &directory : ListArriving(root))
    {
        const Common::Descriptor lock = LockLeftover(directory);
        if (lock.IsOpen())
        {
            RemoveTree(directory);
            removed.push_back(LeftoverPath(directory));
        }
    }
    rmdir((fs::path(root) / ArrivingDirectory).c_str()); // stays where somebody is at work
    return removed;
}
} // namespace Keld::TreeWriter
