#include "Oracle/ListingRules.h"

#include "Oracle/ListingMaking.h"
#include "Oracle/PathRules.h"

#include <algorithm>

namespace Keld::Test::Oracle
{
namespace
{
constexpr std::uint32_t FailedRead = 0xFFFFFFFF; ///< the count of a read that the system refuses

// A read of a file on disk: no further than the disk has bytes.
ReadAnswer ReadPlain(const std::string &content, std::uint64_t offset, std::uint32_t size)
{
    constexpr std::uint64_t offsetLimit = std::uint64_t{1} << 63;
    if (offset >= offsetLimit)
    {
        return {false, FailedRead, {}};
    }
    const std::string bytes = offset < content.size() ? content.substr(offset, size) : std::string();
    return {true, static_cast<std::uint32_t>(bytes.size()), bytes};
}

// A read of decoded content: the offset has 32 bits, and what ends early is a failure that delivers.
ReadAnswer ReadDecoded(const std::string &content, std::uint64_t offset, std::uint32_t size)
{
    const ReadAnswer answer = ReadPlain(content, offset & 0xFFFFFFFF, size);
    return {answer.count == size, answer.count, answer.bytes};
}

const char *StorageName(const ListedEntry &entry)
{
    if (!entry.isArchived)
    {
        return "plain";
    }
    return entry.compression == Compression::None ? "stored" : entry.compression == Compression::Zlib ? "zlib" : "lzma";
}
} // namespace

std::unique_ptr<ListingRules> ListingRules::Make(Disk &disk, const std::string &root,
                                                 const std::string &releaseDirectory)
{
    const std::optional<std::string> path = JoinedPath({releaseDirectory, "releasemanifest"});
    const Disk::Content bytes = path ? disk.Find(*path) : nullptr;
    const std::optional<ReleaseManifestWords> manifest = bytes ? ReadReleaseManifest(*bytes) : std::nullopt;
    return manifest ? ListingMaking(disk, root, *manifest).Run() : nullptr;
}

std::vector<ListedEntry *> ListingRules::Find(const std::string &path) const
{
    std::vector<ListedEntry *> found;
    const std::string folded = Folded(path);
    if (path.starts_with('/') || (path.empty() && !mRootName.empty()))
    {
        return found;
    }
    for (const std::unique_ptr<ListedEntry> &entry : mEntries)
    {
        if (entry->path.size() == path.size() && Folded(entry->path) == folded)
        {
            found.push_back(entry.get());
        }
    }
    return found;
}

bool ListingRules::Open(const Disk &disk, ListedEntry &entry)
{
    if (entry.isDirectory)
    {
        return false;
    }
    if (entry.openCount == 0)
    {
        if (!entry.isArchived)
        {
            entry.plain = disk.Find(entry.plainPath);
        }
        else if (entry.compression != Compression::None)
        {
            entry.decoded =
                entry.data->isClosed && entry.size != 0
                    ? std::nullopt
                    : Decoded(entry.compression, *entry.data->bytes, entry.offset, entry.storedSize, entry.size);
            const bool isRead = entry.size != 0 && entry.storedSize != 0;
            entry.data->isClosed = entry.data->isClosed || (isRead && entry.compression == Compression::Lzma);
        }
        const bool isOpen = !entry.isArchived                        ? entry.plain != nullptr
                            : entry.compression != Compression::None ? entry.decoded.has_value()
                                                                     : entry.size == entry.storedSize;
        if (!isOpen)
        {
            return false;
        }
    }
    ++entry.openCount;
    return true;
}

void ListingRules::Close(ListedEntry &entry)
{
    --entry.openCount;
    if (entry.openCount == 0)
    {
        entry.plain.reset();
        entry.decoded.reset();
    }
}

ReadAnswer ListingRules::Read(const ListedEntry &entry, std::uint64_t offset, std::uint32_t size)
{
    if (size == 0)
    {
        return {true, {}, {}};
    }
    if (!entry.isArchived)
    {
        return ReadPlain(*entry.plain, offset, size);
    }
    if (entry.compression != Compression::None)
    {
        return ReadDecoded(*entry.decoded, offset, size);
    }
    // A stored file is not held to its size: what follows in the data file follows here.
    return entry.data->isClosed ? ReadAnswer{false, FailedRead, {}}
                                : ReadPlain(*entry.data->bytes, entry.offset + offset, size);
}

std::string ListingRules::Text() const
{
    std::string text;
    for (const std::unique_ptr<ListedEntry> &entry : mEntries)
    {
        text += "  " + entry->path;
        text += entry->isDirectory ? "/" : "  " + std::to_string(entry->size) + " " + StorageName(*entry);
        if (entry->isArchived)
        {
            text += " at " + std::to_string(entry->offset) + ", " + std::to_string(entry->storedSize);
        }
        text += entry->hasOrder ? "\n" : "  (without order)\n";
    }
    return text;
}
} // namespace Keld::Test::Oracle
