#include "Tools/TreeChecker/DoomedIndexes.h"

#include <algorithm>

#include <sys/stat.h>
#include <unistd.h>

namespace Keld::TreeChecker
{
namespace
{
bool MayWrite(const std::string &directory)
{
    return eaccess(directory.c_str(), W_OK | X_OK) == 0;
}

/// In a directory with the sticky bit only the owner of a file, or of the directory, deletes it.
bool IsDeletable(const std::string &directory, const std::string &path)
{
    struct stat parent = {};
    struct stat file = {};
    if (stat(directory.c_str(), &parent) != 0 || lstat(path.c_str(), &file) != 0 || !MayWrite(directory))
    {
        return false;
    }
    const uid_t user = geteuid();
    const bool isProtected =
        (parent.st_mode & S_ISVTX) != 0 && user != 0 && user != parent.st_uid && user != file.st_uid;
    return !isProtected && TreeReader::IsDeletedWhenUnusable(path);
}
} // namespace

void ArchivePlaces::Add(const TreeReader::Release &release)
{
    for (const MorvVersion version : release.GetArchiveVersions())
    {
        const TreeReader::VersionArchives &versionArchives = release.GetArchives(version);
        const std::string &directory = versionArchives.GetDirectory();
        archives += versionArchives.GetArchives().size();
        if (MayWrite(directory) && std::find(writable.begin(), writable.end(), directory) == writable.end())
        {
            writable.push_back(directory);
        }
        for (const TreeReader::Fault &fault : versionArchives.GetFaults())
        {
            const bool isKnown = std::any_of(doomed.begin(), doomed.end(),
                                             [&fault](const DoomedIndex &known)
                                             {
                                                 return known.fault.path == fault.path;
                                             });
            if (fault.path != directory && !isKnown)
            {
                doomed.push_back({fault, IsDeletable(directory, fault.path)});
            }
        }
    }
}
} // namespace Keld::TreeChecker
