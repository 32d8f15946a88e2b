#include "Tools/TreeWriter/TarSource.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/ArchiveInput.h"
#include "Tools/TreeWriter/FileOutput.h"
#include "Tools/TreeWriter/SourceCollector.h"

#include <algorithm>
#include <map>
#include <memory>
#include <new>
#include <optional>
#include <set>

#include <archive.h>
#include <archive_entry.h>
#include <locale.h>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using TreeReader::TreeError;

namespace
{
constexpr std::size_t ReadSize = std::size_t{1} << 18;
constexpr int LongestChain = 40; // of links that lead to links

struct ArchiveCloser
{
    void operator()(archive *stream) const { archive_read_free(stream); }
};

/// libarchive turns names into the locale of the thread. This one leaves UTF-8 as it is, wherever the tool runs.
class Utf8Locale
{
public:
    Utf8Locale()
        : mLocale(newlocale(LC_CTYPE_MASK, "C.UTF-8", nullptr)),
          mPrevious(mLocale != nullptr ? uselocale(mLocale) : nullptr)
    {
    }

    ~Utf8Locale()
    {
        if (mLocale != nullptr)
        {
            uselocale(mPrevious);
            freelocale(mLocale);
        }
    }

    Utf8Locale(const Utf8Locale &) = delete;
    Utf8Locale &operator=(const Utf8Locale &) = delete;

private:
    locale_t mLocale;
    locale_t mPrevious;
};

/// The virtual path of a name in the stream: "./a//b/" is "a/b". Nothing for one that leaves the release.
std::optional<std::string> CleanPath(const std::string &name)
{
    const fs::path path = fs::path(name).lexically_normal();
    const bool leaves = path.is_absolute() || (path.begin() != path.end() && *path.begin() == "..");
    if (name.empty() || leaves)
    {
        return std::nullopt;
    }
    const std::string text = (path.has_filename() ? path : path.parent_path()).string();
    return text == "." ? "" : text;
}

class TarReader
{
public:
    TarReader(int descriptor, const fs::path &directory, const SourceOptions &options,
              const std::function<void()> &checkpoint)
        : mDirectory(directory), mOptions(options), mCheckpoint(checkpoint), mCollector("(tar)", options),
          mInput(descriptor, checkpoint), mStream(archive_read_new())
    {
        if (mStream == nullptr)
        {
            throw std::bad_alloc();
        }
    }

    SourceTree Read()
    {
        archive_read_support_format_tar(mStream.get());
        archive_read_support_filter_gzip(mStream.get());
        archive_read_support_filter_bzip2(mStream.get());
        archive_read_support_filter_xz(mStream.get());
        archive_read_support_filter_zstd(mStream.get());
        archive_read_support_filter_lz4(mStream.get());
        Require(mInput.Open(mStream.get()));
        archive_entry *entry = nullptr;
        for (;;)
        {
            const int result = archive_read_next_header(mStream.get(), &entry);
            if (result == ARCHIVE_EOF)
            {
                break;
            }
            Require(result);
            mCheckpoint();
            TakeEntry(entry);
        }
        RequireEndMark();
        ResolveLinks();
        for (auto &[path, file] : mFiles)
        {
            mCollector.AddFile({path, file.size, file.disk});
        }
        return mCollector.Finish();
    }

private:
    struct Content
    {
        uint64 size = 0;
        std::string disk;
    };

    void Require(int result)
    {
        if (result != ARCHIVE_OK && result != ARCHIVE_WARN)
        {
            mInput.ThrowFailure();
            const char *cause = archive_error_string(mStream.get());
            throw TreeError("standard input is no tar stream, or a damaged one: " +
                            std::string(cause != nullptr ? cause : "it cannot be read"));
        }
    }

    /// A stream that is cut between two entries ends like a whole one, but for the blocks of zeros.
    void RequireEndMark()
    {
        if (archive_filter_bytes(mStream.get(), 0) <= archive_read_header_position(mStream.get()))
        {
            throw TreeError("standard input is a tar stream that was cut off: it has no end mark");
        }
    }

    static std::string NameOf(archive_entry *entry)
    {
        const char *name = archive_entry_pathname(entry);
        name = name != nullptr ? name : archive_entry_pathname_utf8(entry);
        return name != nullptr ? name : "";
    }

    void TakeEntry(archive_entry *entry)
    {
        const std::string name = NameOf(entry);
        const std::optional<std::string> path = CleanPath(name);
        if (!path)
        {
            mCollector.Refuse(name, "is no path below the release");
            return;
        }
        const bool isDirectory = archive_entry_filetype(entry) == AE_IFDIR;
        if (path->empty() || IsLeftOut(*path, isDirectory) || !mCollector.CanHold(*path))
        {
            return;
        }
        if (archive_entry_hardlink(entry) != nullptr)
        {
            TakeHardLink(*path, archive_entry_hardlink(entry));
            return;
        }
        switch (archive_entry_filetype(entry))
        {
        case AE_IFDIR:
            mCollector.AddDirectory(*path);
            break;
        case AE_IFREG:
            TakeFile(*path, entry);
            break;
        case AE_IFLNK:
            TakeSymbolicLink(*path, entry);
            break;
        default:
            mCollector.Refuse(*path, "is neither a file nor a directory");
            break;
        }
    }

    /// Whether a pattern leaves out the entry or a directory above it.
    bool IsLeftOut(const std::string &path, bool isDirectory)
    {
        // What lies deeper than the longest path has no place in a release; to look at each of its directories would
        // take the square of its length.
        for (std::size_t end = path.find('/'); end <= LongestPath; end = path.find('/', end + 1))
        {
            if (mLeftOut.count(path.substr(0, end)) != 0)
            {
                return true;
            }
            if (mSeen.insert(path.substr(0, end)).second && mCollector.IsExcluded(path.substr(0, end), true))
            {
                mLeftOut.insert(path.substr(0, end));
                return true;
            }
        }
        if (isDirectory && !mSeen.insert(path).second)
        {
            return mLeftOut.count(path) != 0;
        }
        const bool excluded = mCollector.IsExcluded(path, isDirectory);
        if (excluded)
        {
            mLeftOut.insert(path);
        }
        return excluded;
    }

    void TakeFile(const std::string &path, archive_entry *entry)
    {
        const auto told = static_cast<uint64>(archive_entry_size_is_set(entry) != 0 ? archive_entry_size(entry) : 0);
        if (!mCollector.CanHoldSize(path, told))
        {
            return;
        }
        Content content;
        content.disk = (mDirectory / std::to_string(++mCount)).string();
        FileOutput output(content.disk);
        std::string buffer(ReadSize, '\0');
        for (;;)
        {
            mCheckpoint();
            const la_ssize_t size = archive_read_data(mStream.get(), buffer.data(), buffer.size());
            if (size < 0)
            {
                Require(static_cast<int>(size));
            }
            if (size <= 0)
            {
                break;
            }
            if (!mCollector.CanHoldSize(path, output.GetSize() + static_cast<uint64>(size)))
            {
                return;
            }
            output.Write(std::string_view(buffer).substr(0, static_cast<std::size_t>(size)));
        }
        if (output.GetSize() < told)
        {
            output.SetSize(told); // nothing is told of a hole at the end
        }
        content.size = output.GetSize();
        output.Close();
        mLinks.erase(path);
        mFiles[path] = std::move(content);
    }

    void TakeHardLink(const std::string &path, const std::string &name)
    {
        const std::optional<std::string> target = CleanPath(name);
        const auto entry = target ? mFiles.find(*target) : mFiles.end();
        if (entry == mFiles.end())
        {
            const bool isLeftOut = target && IsBelowLeftOut(*target);
            mCollector.Refuse(path, "is a hard link to " + name +
                                        (isLeftOut ? ", which was left out and alone has the content"
                                                   : ", which stands nowhere before it"));
            return;
        }
        const Content content = entry->second;
        mLinks.erase(path);
        mFiles[path] = content;
    }

    bool IsBelowLeftOut(const std::string &path) const
    {
        for (std::size_t end = path.find('/'); end <= LongestPath; end = path.find('/', end + 1))
        {
            if (mLeftOut.count(path.substr(0, end)) != 0)
            {
                return true;
            }
        }
        return mLeftOut.count(path) != 0;
    }

    void TakeSymbolicLink(const std::string &path, archive_entry *entry)
    {
        const char *target = archive_entry_symlink(entry);
        if (mOptions.links == LinkPolicy::Skip)
        {
            mFiles.erase(path);
            mCollector.CountSkippedLink();
        }
        else if (mOptions.links == LinkPolicy::Refuse)
        {
            mCollector.Refuse(path, "is a symbolic link: --links follow packs what it names, --links skip leaves "
                                    "links out");
        }
        else
        {
            mFiles.erase(path);
            mLinks[path] = target != nullptr ? target : "";
        }
    }

    void ResolveLinks()
    {
        for (const auto &[path, target] : mLinks)
        {
            const auto file = mFiles.find(FollowLink(path));
            if (file == mFiles.end() || mLinks.count(file->first) != 0)
            {
                mCollector.Refuse(path, "is a symbolic link to " + target +
                                            ", which is no file of the stream: leave it out with --exclude");
                continue;
            }
            mResolved.emplace_back(path, file->second);
        }
        for (auto &[path, content] : mResolved)
        {
            mFiles[path] = std::move(content);
        }
    }

    /// The path that a link leads to in the end; empty where it leads out of the stream or in circles.
    std::string FollowLink(std::string path) const
    {
        for (int step = 0; step < LongestChain; ++step)
        {
            const auto link = mLinks.find(path);
            if (link == mLinks.end())
            {
                return path;
            }
            const std::optional<std::string> next = CleanPath((fs::path(path).parent_path() / link->second).string());
            if (!next)
            {
                return "";
            }
            path = *next;
        }
        return "";
    }

    const Utf8Locale mLocale;
    fs::path mDirectory;
    const SourceOptions &mOptions;
    const std::function<void()> &mCheckpoint;
    SourceCollector mCollector;
    ArchiveInput mInput;
    std::unique_ptr<archive, ArchiveCloser> mStream; ///< reads from mInput
    std::map<std::string, Content> mFiles;
    std::map<std::string, std::string> mLinks; ///< where links are followed: path to what it names
    std::vector<std::pair<std::string, Content>> mResolved;
    std::set<std::string> mSeen;    ///< directories that were held against the patterns
    std::set<std::string> mLeftOut; ///< those of them, and the files, that patterns leave out
    uint64 mCount = 0;
};
} // namespace

SourceTree SpoolTar(int descriptor, const fs::path &directory, const SourceOptions &options,
                    const std::function<void()> &checkpoint)
{
    return TarReader(descriptor, directory, options, checkpoint).Read();
}
} // namespace Keld::TreeWriter
