#include "Tools/TreeWriter/FolderSource.h"

#include "Tools/TreeReader/DirectoryStream.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/SourceCollector.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <map>
#include <set>

#include <fcntl.h>
#include <sys/stat.h>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using TreeReader::TreeError;

namespace
{
class FolderScanner
{
public:
    FolderScanner(const fs::path &root, const SourceOptions &options, const std::function<void()> &checkpoint)
        : mRoot(root), mOptions(options), mCheckpoint(checkpoint), mCollector(root, options)
    {
    }

    SourceTree Scan()
    {
        struct stat status = {};
        if (stat(mRoot.c_str(), &status) == 0)
        {
            mAbove.push_back({status.st_dev, status.st_ino});
        }
        if (!mOptions.only)
        {
            ScanDirectory(mRoot.string(), "");
            return mCollector.Finish();
        }
        for (const std::string &listed : *mOptions.only)
        {
            mCheckpoint();
            ScanListed(listed);
        }
        return mCollector.Finish();
    }

private:
    struct Identity
    {
        dev_t device;
        ino_t inode;

        bool operator==(const Identity &) const = default;
    };

    static bool IsBelowRoot(const fs::path &path)
    {
        return !path.is_absolute() && std::find(path.begin(), path.end(), "..") == path.end();
    }

    /// A path of the list, as a person or another program writes it: "./a", "dir/", "a//b".
    void ScanListed(const std::string &listed)
    {
        fs::path path = fs::path(listed).lexically_normal();
        if (!path.has_filename())
        {
            path = path.parent_path();
        }
        if (listed.empty() || !IsBelowRoot(listed) || !IsBelowRoot(path))
        {
            mCollector.Refuse(listed, "is listed but is no path below the folder");
            return;
        }
        if (path == ".")
        {
            path.clear();
        }
        fs::path above;
        for (const fs::path &name : path.parent_path())
        {
            above /= name;
            const bool isLink =
                fs::is_symlink(fs::symlink_status(mRoot / above)) && mOptions.links != LinkPolicy::Follow;
            if (IsExcluded(above.string(), !isLink))
            {
                return;
            }
            if (isLink)
            {
                mCollector.Refuse(path.string(), "is listed but lies behind the symbolic link " + above.string());
                return;
            }
        }
        if (path.empty())
        {
            ScanDirectory(mRoot.string(), "");
        }
        else if (mListed.insert(path.string()).second)
        {
            const std::string place = (mRoot / path).string();
            TakeEntry(Examine(AT_FDCWD, place.c_str()), place, path.string());
        }
    }

    /// An entry as the system tells it, and no more of that than is needed: a directory may have millions.
    struct Examined
    {
        int error = 0; ///< why nothing is known
        bool isLink = false;
        bool leadsNowhere = false; ///< a link of which nothing but itself is known
        mode_t mode = 0;           ///< this and what follows: of what a link names where links are followed
        uint64 size = 0;
        Identity identity = {};
    };

    /// \param place relative to the directory, which is open, or to the working directory for AT_FDCWD
    Examined Examine(int directory, const char *place) const
    {
        Examined entry;
        struct stat status = {};
        if (fstatat(directory, place, &status, AT_SYMLINK_NOFOLLOW) != 0)
        {
            entry.error = errno;
            return entry;
        }
        entry.isLink = S_ISLNK(status.st_mode);
        entry.leadsNowhere =
            entry.isLink && mOptions.links == LinkPolicy::Follow && fstatat(directory, place, &status, 0) != 0;
        entry.mode = status.st_mode;
        entry.size = static_cast<uint64>(status.st_size);
        entry.identity = {status.st_dev, status.st_ino};
        return entry;
    }

    /// The directory is closed again before those below it are opened: a tree may be deeper than a process may have
    /// files open.
    void ScanDirectory(const std::string &directory, const std::string &prefix)
    {
        mCheckpoint();
        std::vector<std::string> names;
        std::vector<Examined> entries;
        if (const int error = ListDirectory(directory, names, entries))
        {
            mCollector.Refuse(prefix.empty() ? prefix : prefix.substr(0, prefix.size() - 1),
                              std::string("cannot be listed: ") + std::strerror(error));
        }
        for (std::size_t index = 0; index < names.size(); ++index)
        {
            TakeEntry(entries[index], directory + '/' + names[index], prefix + names[index]);
        }
    }

    /// Names in ascending order, so that problems come in the same order everywhere, and what they stand for. Gives
    /// what went wrong, or 0.
    int ListDirectory(const std::string &directory, std::vector<std::string> &names,
                      std::vector<Examined> &entries) const
    {
        TreeReader::DirectoryStream stream(open(directory.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
        while (const dirent *entry = stream.Next())
        {
            names.emplace_back(entry->d_name);
        }
        std::sort(names.begin(), names.end());
        entries.reserve(names.size());
        for (const std::string &name : names)
        {
            entries.push_back(Examine(stream.GetDescriptor(), name.c_str()));
        }
        return stream.GetError();
    }

    void TakeEntry(const Examined &entry, const std::string &path, const std::string &virtualPath)
    {
        if (entry.error != 0)
        {
            mCollector.Refuse(virtualPath, std::string("cannot be examined: ") + std::strerror(entry.error));
            return;
        }
        if (IsExcluded(virtualPath, S_ISDIR(entry.mode)))
        {
            return;
        }
        if (entry.isLink && mOptions.links != LinkPolicy::Follow)
        {
            MeetLink(virtualPath);
        }
        else if (entry.leadsNowhere)
        {
            mCollector.Refuse(virtualPath, "is a symbolic link that leads nowhere: leave it out with --exclude");
        }
        else if (mCollector.CanHold(virtualPath))
        {
            ScanContent(path, virtualPath, entry);
        }
    }

    /// A list may lead by a directory many times: it is asked for, and counted, once.
    bool IsExcluded(const std::string &virtualPath, bool isDirectory)
    {
        if (!isDirectory || !mOptions.only)
        {
            return mCollector.IsExcluded(virtualPath, isDirectory);
        }
        const auto [known, isNew] = mDirectories.try_emplace(virtualPath, false);
        if (isNew)
        {
            known->second = mCollector.IsExcluded(virtualPath, true);
        }
        return known->second;
    }

    void MeetLink(const std::string &virtualPath)
    {
        if (mOptions.links == LinkPolicy::Skip)
        {
            mCollector.CountSkippedLink();
            return;
        }
        mCollector.Refuse(virtualPath, "is a symbolic link: --links follow packs what it names, --links skip leaves "
                                       "links out");
    }

    void ScanContent(const std::string &path, const std::string &virtualPath, const Examined &entry)
    {
        if (S_ISREG(entry.mode))
        {
            mCollector.AddFile({virtualPath, entry.size});
        }
        else if (!S_ISDIR(entry.mode))
        {
            mCollector.Refuse(virtualPath, "is neither a file nor a directory");
        }
        else if (std::find(mAbove.begin(), mAbove.end(), entry.identity) != mAbove.end())
        {
            mCollector.Refuse(virtualPath, "leads back to a directory above it: leave it out with --exclude");
        }
        else
        {
            mCollector.AddDirectory(virtualPath);
            mAbove.push_back(entry.identity);
            ScanDirectory(path, virtualPath + "/");
            mAbove.pop_back();
        }
    }

    fs::path mRoot;
    const SourceOptions &mOptions;
    const std::function<void()> &mCheckpoint;
    SourceCollector mCollector;
    std::vector<Identity> mAbove; ///< the directories on the way to where the scan is
    std::set<std::string> mListed;
    std::map<std::string, bool> mDirectories; ///< of a list: whether patterns leave them out
};
} // namespace

SourceTree ScanSource(const fs::path &source, const SourceOptions &options, const std::function<void()> &checkpoint)
{
    std::error_code error;
    const fs::file_status status = fs::status(source, error);
    if (!fs::exists(status))
    {
        throw TreeError(source.string() + ": no such folder: give the folder whose files are to be packed");
    }
    if (!fs::is_directory(status))
    {
        throw TreeError(source.string() + ": is no folder: give the folder whose files are to be packed");
    }
    return FolderScanner(source, options, checkpoint).Scan();
}
} // namespace Keld::TreeWriter
