#include "Oracle/ListingMaking.h"

#include "Oracle/PathRules.h"

#include <algorithm>

namespace Keld::Test::Oracle
{
namespace
{
constexpr std::uint32_t ManagedBit = 0x01;
constexpr std::uint32_t ArchivedBit = 0x02;
constexpr std::uint32_t ZlibBit = 0x04;
constexpr std::uint32_t CompressedBit = 0x10;
constexpr std::uint32_t LzmaBit = 0x20;

Compression CompressionOf(std::uint32_t flags)
{
    if ((flags & CompressedBit) == 0 || (flags & (ZlibBit | LzmaBit)) == 0)
    {
        return Compression::None;
    }
    return (flags & ZlibBit) != 0 ? Compression::Zlib : Compression::Lzma;
}
} // namespace

std::unique_ptr<ListingRules> ListingMaking::Run()
{
    const std::optional<std::string> projectRoot = JoinedPath({mRoot, "projects", mManifest.project});
    if (!projectRoot)
    {
        return nullptr;
    }
    mProjectRoot = *projectRoot;
    mListing.reset(new ListingRules);
    mListing->mRootName = mManifest.directories[0].name;

    ListedEntry root;
    root.isDirectory = true;
    std::vector<std::pair<ListedEntry *, std::uint32_t>> directories = {{Add(root), 0}};
    for (std::size_t next = 0; next < directories.size(); ++next)
    {
        const auto [parent, number] = directories[next];
        AddChildren(*parent, number);
        for (std::size_t child = 0; child < mManifest.directories[number].directories.size(); ++child)
        {
            directories.emplace_back(parent->children[child], mManifest.directories[number].directories[child]);
        }
    }
    for (const auto &[directory, number] : directories)
    {
        Sort(*directory);
    }
    return mHasFile ? std::move(mListing) : nullptr;
}

ListedEntry *ListingMaking::Add(ListedEntry entry)
{
    mListing->mEntries.push_back(std::make_unique<ListedEntry>(std::move(entry)));
    return mListing->mEntries.back().get();
}

void ListingMaking::AddChildren(ListedEntry &parent, std::uint32_t directory)
{
    const bool isRoot = &parent == mListing->mEntries.front().get();
    const std::string prefix = isRoot ? "" : parent.path + "/";
    const ReleaseManifestWords::Directory &words = mManifest.directories[directory];
    for (const std::uint32_t child : words.directories)
    {
        ListedEntry entry;
        entry.name = mManifest.directories[child].name;
        entry.path = prefix + entry.name;
        entry.isDirectory = true;
        parent.children.push_back(Add(entry));
    }
    for (const std::uint32_t child : words.files)
    {
        const ReleaseManifestWords::File &file = mManifest.files[child];
        ListedEntry entry;
        entry.name = file.name;
        entry.path = prefix + entry.name;
        entry.size = file.size;
        if (Locate(entry, file))
        {
            parent.children.push_back(Add(entry));
            mHasFile = true;
        }
    }
}

void ListingMaking::Sort(ListedEntry &directory)
{
    std::stable_sort(directory.children.begin(), directory.children.end(),
                     [](const ListedEntry *left, const ListedEntry *right)
                     {
                         return std::pair(!left->isDirectory, Folded(left->name)) <
                                std::pair(!right->isDirectory, Folded(right->name));
                     });
    for (std::size_t index = 1; index < directory.children.size(); ++index)
    {
        const ListedEntry &before = *directory.children[index - 1];
        const ListedEntry &behind = *directory.children[index];
        if (before.isDirectory == behind.isDirectory && Folded(before.name) == Folded(behind.name))
        {
            directory.hasOrder = false;
        }
    }
}

bool ListingMaking::Locate(ListedEntry &entry, const ReleaseManifestWords::File &file)
{
    if ((file.flags & ArchivedBit) != 0)
    {
        return LocateArchived(entry, file);
    }
    const bool isManaged = (file.flags & ManagedBit) != 0;
    const std::optional<std::string> path =
        isManaged ? JoinedPath({mProjectRoot, "managedfiles", VersionText(file.version), entry.path})
                  : JoinedPath({mProjectRoot, "releases", VersionText(mManifest.version), "deploy", entry.path});
    if (!path || mDisk.Find(*path) == nullptr)
    {
        return false;
    }
    entry.plainPath = *path;
    return true;
}

bool ListingMaking::LocateArchived(ListedEntry &entry, const ReleaseManifestWords::File &file)
{
    const std::optional<StoredRange> range = Archives(file.version).Find(entry.path);
    if (!range)
    {
        return false;
    }
    const std::optional<std::string> path =
        JoinedPath({mProjectRoot, "filearchives", VersionText(file.version), range->dataFile});
    entry.data = path ? Data(*path) : nullptr;
    entry.isArchived = true;
    entry.compression = CompressionOf(file.flags);
    entry.offset = range->offset;
    entry.storedSize = range->size;
    return entry.data != nullptr;
}

const VersionArchives &ListingMaking::Archives(std::uint32_t version)
{
    const std::string directory = mRoot + "/projects/" + mManifest.project + "/filearchives/" + VersionText(version);
    return mArchives.try_emplace(version, mDisk, directory).first->second;
}

std::shared_ptr<OpenData> ListingMaking::Data(const std::string &path)
{
    const Disk::Content bytes = mDisk.Find(path);
    std::shared_ptr<OpenData> &data = mData[path];
    if (data == nullptr && bytes != nullptr)
    {
        data = std::make_shared<OpenData>(OpenData{bytes});
    }
    return data;
}
} // namespace Keld::Test::Oracle
