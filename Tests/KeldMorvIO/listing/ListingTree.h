#pragma once

#include "KeldMorvIO/listing/ProjectListing.h"
#include "KeldMorvIO/listing/ReleaseManifest.h"
#include "Support/ArchiveImage.h"
#include "Support/ManifestImage.h"
#include "Support/TempTree.h"

#include <gtest/gtest.h>

#include <filesystem>
#include <iterator>
#include <map>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::Test
{
inline constexpr std::uint32_t ManagedFlag = 0x01;
inline constexpr std::uint32_t ArchivedFlag = 0x02;
inline constexpr std::uint32_t ArchivedZlibFlags = 0x02 | 0x10 | 0x04;
inline constexpr std::uint32_t ArchivedLzmaFlags = 0x02 | 0x10 | 0x20;

/// A release of the project "atlas", version 1.0.0.0, on the real disk: each file is put where its storage has it, and
/// into the manifest. `Load` writes what is left to write and builds the listing.
class ListingTree
{
public:
    explicit ListingTree(ManifestImage::Record record = ManifestImage::Record::Current)
        : mManifest("atlas", 0x01000000, record)
    {
    }

    ListingTree &Naked(std::string_view path, std::string_view content)
    {
        mTree.Write(NakedPath(path), content);
        mManifest.File(path, {.size = static_cast<std::uint32_t>(content.size())});
        return *this;
    }

    ListingTree &Managed(std::string_view path, std::string_view content, std::uint32_t version = 0x01000000)
    {
        mTree.Write(ManagedPath(path, version), content);
        mManifest.File(path, {ManagedFlag, static_cast<std::uint32_t>(content.size()), version});
        return *this;
    }

    /// Puts `stored` behind what the data file of `archive` holds already.
    /// \param size what the manifest says of the content, in bytes.
    ListingTree &Archived(std::string_view path, std::string_view stored, std::uint32_t size,
                          std::uint32_t flags = ArchivedFlag, const std::string &archive = "files",
                          std::uint32_t version = 0x01000000)
    {
        Archive &target = mArchives[VersionText(version) + "/" + archive];
        target.index.File(std::string(path), static_cast<std::uint32_t>(target.data.size()),
                          static_cast<std::uint32_t>(stored.size()));
        target.data += stored;
        mManifest.File(path, {flags, size, version});
        return *this;
    }

    ListingTree &Archived(std::string_view path, std::string_view content)
    {
        return Archived(path, content, static_cast<std::uint32_t>(content.size()));
    }

    /// A naked file that the manifest names and the disk does not have.
    ListingTree &Absent(std::string_view path)
    {
        mManifest.File(path, {.size = 1});
        return *this;
    }

    ManifestImage &Manifest() { return mManifest; }
    const TempTree &Disk() const { return mTree; }

    /// The deployment root, and the project's directory.
    std::string Root() const { return mTree.Path("MORV"); }
    std::string ProjectRoot() const { return mTree.Path("MORV/projects/atlas"); }

    // Relative to the disk's root.
    static std::string NakedPath(std::string_view path)
    {
        return "MORV/projects/atlas/releases/1.0.0.0/deploy/" + std::string(path);
    }

    static std::string ManagedPath(std::string_view path, std::uint32_t version = 0x01000000)
    {
        return "MORV/projects/atlas/managedfiles/" + VersionText(version) + "/" + std::string(path);
    }

    static std::string DataFilePath(const std::string &archive = "files")
    {
        return "MORV/projects/atlas/filearchives/1.0.0.0/" + archive + ".vka.dat";
    }

    /// Null when there is no listing.
    std::unique_ptr<MORV::Reader::ProjectListing> Load() const
    {
        for (const auto &[place, archive] : mArchives)
        {
            mTree.Write("MORV/projects/atlas/filearchives/" + place + ".vka", archive.index.Bytes());
            mTree.Write("MORV/projects/atlas/filearchives/" + place + ".vka.dat", archive.data);
        }
        const std::string path = mTree.Write("releasemanifest", mManifest.Bytes());
        const std::unique_ptr<MORV::Reader::ReleaseManifest> manifest(
            MORV::Reader::ReleaseManifest::Load(path.c_str()));
        return std::unique_ptr<MORV::Reader::ProjectListing>(
            manifest != nullptr ? manifest->CreateListing(Root().c_str()) : nullptr);
    }

private:
    struct Archive
    {
        ArchiveImage index;
        std::string data;
    };

    static std::string VersionText(std::uint32_t version)
    {
        return std::to_string(version >> 24) + "." + std::to_string(version >> 16 & 0xFF) + "." +
               std::to_string(version >> 8 & 0xFF) + "." + std::to_string(version & 0xFF);
    }

    TempTree mTree;
    ManifestImage mManifest;
    std::map<std::string, Archive> mArchives; ///< by "<version>/<name>"
};

/// The names below a directory in the iterator's order, directories with a '/' behind.
inline std::vector<std::string> NamesIn(const MORV::Reader::ProjectListing::FileEntry *directory)
{
    std::vector<std::string> names;
    MORV::Reader::ProjectListing::DirectoryIterator iterator(directory);
    while (iterator.IsValid())
    {
        names.push_back(std::string(iterator.GetName()) + (iterator.IsDirectory() ? "/" : ""));
        iterator.Next();
    }
    return names;
}

/// Open descriptors of this process.
inline std::size_t CountDescriptors()
{
    return static_cast<std::size_t>(
        std::distance(std::filesystem::directory_iterator("/proc/self/fd"), std::filesystem::directory_iterator()));
}

/// Bytes that tell their position.
inline std::string PatternBytes(std::size_t size, unsigned seed = 0)
{
    std::string bytes(size, '\0');
    for (std::size_t index = 0; index < size; ++index)
    {
        bytes[index] = static_cast<char>((index * 31 + index / 251 + seed) & 0xFF);
    }
    return bytes;
}

/// Reads a whole entry in one call; empty when that fails or comes short.
inline std::string ReadWhole(const MORV::Reader::ProjectListing &listing,
                             const MORV::Reader::ProjectListing::FileEntry *entry)
{
    std::string content(MORV::Reader::ProjectListing::GetFileSize(entry), '\0');
    std::uint32_t bytesRead = 0;
    const bool read = listing.Read(entry, 0, static_cast<std::uint32_t>(content.size()), &bytesRead, content.data());
    return read && bytesRead == content.size() ? content : std::string();
}

/// Every entry that a listing's hash table holds.
inline std::vector<const MORV::Reader::ProjectListing::FileEntry *> ChainOf(const MORV::Reader::ProjectListing &listing)
{
    std::vector<const MORV::Reader::ProjectListing::FileEntry *> entries;
    for (const MORV::Reader::HashSlot &slot : listing.GetSlots())
    {
        entries.push_back(slot.mEntry);
    }
    return entries;
}
} // namespace Keld::Test
