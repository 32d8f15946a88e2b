#include "Tools/TreeWriter/FolderSource.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/SourceCollector.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <set>

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
    FolderScanner(const fs::path &root, const SourceOptions &options)
        : mRoot(root), mOptions(options), mCollector(root, options)
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
            ScanDirectory(mRoot, "");
            return mCollector.Finish();
        }
        for (const std::string &listed : *mOptions.only)
        {
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
            if (fs::is_symlink(fs::symlink_status(mRoot / above)) && mOptions.links != LinkPolicy::Follow)
            {
                mCollector.Refuse(path.string(), "is listed but lies behind the symbolic link " + above.string());
                return;
            }
        }
        if (path.empty())
        {
            ScanDirectory(mRoot, "");
        }
        else if (mListed.insert(path.string()).second)
        {
            ScanEntry(mRoot / path, path.string());
        }
    }

    void ScanDirectory(const fs::path &directory, const std::string &prefix)
    {
        std::vector<std::string> names;
        std::error_code error;
        for (fs::directory_iterator entry(directory, error), end; !error && entry != end; entry.increment(error))
        {
            names.push_back(entry->path().filename().string());
        }
        if (error)
        {
            mCollector.Refuse(prefix.empty() ? prefix : prefix.substr(0, prefix.size() - 1),
                              "cannot be listed: " + error.message());
        }
        std::sort(names.begin(), names.end()); // so that problems come in the same order everywhere
        for (const std::string &name : names)
        {
            ScanEntry(directory / name, prefix + name);
        }
    }

    void ScanEntry(const fs::path &path, const std::string &virtualPath)
    {
        struct stat status = {};
        if (lstat(path.c_str(), &status) != 0)
        {
            mCollector.Refuse(virtualPath, std::string("cannot be examined: ") + std::strerror(errno));
            return;
        }
        const bool isLink = S_ISLNK(status.st_mode);
        const bool resolves = !isLink || (mOptions.links == LinkPolicy::Follow && stat(path.c_str(), &status) == 0);
        if (mCollector.IsExcluded(virtualPath, S_ISDIR(status.st_mode)))
        {
            return;
        }
        if (isLink && mOptions.links != LinkPolicy::Follow)
        {
            MeetLink(virtualPath);
        }
        else if (!resolves)
        {
            mCollector.Refuse(virtualPath, "is a symbolic link that leads nowhere: leave it out with --exclude");
        }
        else if (mCollector.CanHold(virtualPath))
        {
            ScanContent(path, virtualPath, status);
        }
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

    void ScanContent(const fs::path &path, const std::string &virtualPath, const struct stat &status)
    {
        const Identity identity{status.st_dev, status.st_ino};
        if (S_ISREG(status.st_mode))
        {
            mCollector.AddFile({virtualPath, static_cast<uint64>(status.st_size)});
        }
        else if (!S_ISDIR(status.st_mode))
        {
            mCollector.Refuse(virtualPath, "is neither a file nor a directory");
        }
        else if (std::find(mAbove.begin(), mAbove.end(), identity) != mAbove.end())
        {
            mCollector.Refuse(virtualPath, "leads back to a directory above it: leave it out with --exclude");
        }
        else
        {
            mCollector.AddDirectory(virtualPath);
            mAbove.push_back(identity);
            ScanDirectory(path, virtualPath + "/");
            mAbove.pop_back();
        }
    }

    fs::path mRoot;
    const SourceOptions &mOptions;
    SourceCollector mCollector;
    std::vector<Identity> mAbove; ///< the directories on the way to where the scan is
    std::set<std::string> mListed;
};
} // namespace

SourceTree ScanSource(const fs::path &source, const SourceOptions &options)
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
    return FolderScanner(source, options).Scan();
}
} // namespace Keld::TreeWriter
