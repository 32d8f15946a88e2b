#pragma once

#include "Oracle/ArchiveRules.h"
#include "Oracle/ListingRules.h"

#include <map>

namespace Keld::Test::Oracle
{
/// Finds every file of a manifest on disk, and leaves out what is not there.
class ListingMaking
{
public:
    ListingMaking(Disk &disk, const std::string &root, const ReleaseManifestWords &manifest)
        : mDisk(disk), mRoot(root), mManifest(manifest)
    {
    }

    /// Null where no file is left, or the project's directory has too long a path.
    std::unique_ptr<ListingRules> Run();

private:
    ListedEntry *Add(ListedEntry entry);
    void AddChildren(ListedEntry &parent, std::uint32_t directory);
    bool Locate(ListedEntry &entry, const ReleaseManifestWords::File &file);
    bool LocateArchived(ListedEntry &entry, const ReleaseManifestWords::File &file);
    const VersionArchives &Archives(std::uint32_t version);
    std::shared_ptr<OpenData> Data(const std::string &path);
    static void Sort(ListedEntry &directory);

    Disk &mDisk;
    const std::string &mRoot;
    const ReleaseManifestWords &mManifest;
    std::string mProjectRoot;
    std::map<std::uint32_t, VersionArchives> mArchives;
    std::map<std::string, std::shared_ptr<OpenData>> mData;
    std::unique_ptr<ListingRules> mListing;
    bool mHasFile = false;
};
} // namespace Keld::Test::Oracle
