#pragma once

#include "Tools/TreeReader/DiskFileCache.h"
#include "Tools/TreeReader/Fault.h"
#include "Tools/TreeReader/ManifestTree.h"
#include "Tools/TreeReader/ProjectArchives.h"
#include "Tools/TreeReader/StoredFile.h"

#include <atomic>
#include <memory>
#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// Where the files that a manifest lists lie on disk, and which of them the library leaves out because they are not
/// there. Found out when somebody first asks, one file or a directory at a time, and kept. Any thread may ask.
class FilePlaces
{
public:
    /// The parts of a tree that all its releases share; they must outlive this.
    struct Shared
    {
        std::string projectRoot; ///< `<root>/projects/<project that the manifest names>`
        const ProjectArchives *archives;
        DiskFileCache *files;
    };

    /// \param tree must outlive this.
    FilePlaces(const ManifestTree &tree, const Shared &shared);

    /// Where a file lies, or why the library leaves it out.
    /// \param path of the file, as the manifest spells it.
    Result<StoredFile> Locate(EntryIndex file, const std::string &path) const;

    /// Whether the library finds a file on disk.
    bool IsPresent(EntryIndex file) const;

    /// Finds out about all files of a directory, or of the whole release, at once, which costs less than one by one.
    void SettleDirectory(EntryIndex directory) const;
    void SettleAll(unsigned threadCount) const;

    const VersionArchives &GetArchives(MorvVersion version) const { return mShared.archives->GetVersion(version); }
    DiskFileCache &GetFiles() const { return *mShared.files; }

private:
    Result<StoredFile> LocatePlain(EntryIndex file, const std::string &path) const;
    Result<StoredFile> LocateArchived(EntryIndex file, const std::string &path) const;
    Failure MakePlainPath(EntryIndex file, const std::string &path, std::string &diskPath) const;
    bool IsPlainFound(EntryIndex file, const std::string &path) const;
    bool NoteArchived(EntryIndex file, const ArchiveHit &hit) const;
    Fault ExplainArchived(const VersionArchives &archives, const ArchiveHit &hit, const std::string &path) const;
    void FindOut(EntryIndex file, const std::string &path) const;
    void SettleScanned(const std::vector<EntryIndex> &files, const std::string &directoryPath) const;
    void SettleTogether(const std::vector<EntryIndex> &files, const std::string &directoryPath) const;
    uint64 GetKnown(EntryIndex file) const;
    void SetKnown(EntryIndex file, uint64 known) const;

    const ManifestTree &mTree;
    const Shared mShared;

    /// By file number. One number tells all that is known of a file, so that no lock is needed: who finds it out at the
    /// same time finds the same.
    const std::unique_ptr<std::atomic<uint64>[]> mKnown;
};
} // namespace Keld::TreeReader
