#pragma once

#include "Tools/TreeReader/FilePlaces.h"
#include "Tools/TreeReader/LookupIndex.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// One release of a project: what its manifest lists, and where on disk that lies. It answers as the library would,
/// which leaves out files that are not there, and never changes a file. All of it may be asked by any thread; what
/// costs reading is found out when somebody first asks, and kept.
class Release
{
public:
    using Shared = FilePlaces::Shared;

    /// \param directory the release's own, in which its manifest lies.
    Release(std::string directory, std::shared_ptr<const ManifestTree> tree, const Shared &shared);

    Release(const Release &) = delete;
    Release &operator=(const Release &) = delete;

    const std::string &GetDirectory() const { return mDirectory; }

    /// Names, paths, sizes, digests, children: present or not.
    const ManifestTree &GetTree() const { return *mTree; }

    // As the manifest says, which counts for all places but the manifest's own.
    std::string GetProject() const { return mTree->GetProjectName(); }
    MorvVersion GetVersion() const { return mTree->GetReleaseVersion(); }

    /// The file or directory of a path, as the library finds it: without regard to ASCII case, and no file that is
    /// missing. The empty path is the root.
    /// \param path canonical; one of 1,024 bytes or more, or with a leading '/', is not found.
    EntryIndex Find(const std::string &path) const;

    /// Every entry that a path may mean, missing files included: for saying why something is not found.
    std::vector<EntryIndex> FindListed(const std::string &path) const;

    /// Both in one: gives what Find gives, and leaves in `others` what else the manifest lists under the path.
    EntryIndex FindEvery(const std::string &path, std::vector<EntryIndex> &others) const;

    /// Where a file lies, or why the library leaves it out.
    Result<StoredFile> Locate(EntryIndex file) const;

    /// The same for whoever has the path already, as the manifest spells it.
    Result<StoredFile> Locate(EntryIndex file, const std::string &path) const { return mPlaces.Locate(file, path); }

    /// Why a file was not found when it was looked for. The disk may have changed since, or have failed for a moment.
    Fault ExplainMissing(EntryIndex file) const;

    /// Whether the library finds a file on disk.
    bool IsPresent(EntryIndex file) const { return mPlaces.IsPresent(file); }

    /// Finds out about all files of a directory, or of the whole release, at once, which costs less than one by one.
    void SettleDirectory(EntryIndex directory) const { mPlaces.SettleDirectory(directory); }
    void SettleAll(unsigned threadCount) const { mPlaces.SettleAll(threadCount); }

    /// The files that are missing, in the order of the manifest. Settles all.
    std::vector<EntryIndex> GetMissing(unsigned threadCount) const;

    /// Whether there is any file for the library to serve. A release without one is none for it.
    bool HasAnyFile() const;

    /// The archives of a version, read when they are first asked for.
    const VersionArchives &GetArchives(MorvVersion version) const { return mPlaces.GetArchives(version); }

    /// The versions whose archives the release needs, ascending. A file that no directory holds, as in a damaged
    /// manifest, needs none: the library never looks for it.
    std::vector<MorvVersion> GetArchiveVersions() const;

    DiskFileCache &GetFiles() const { return mPlaces.GetFiles(); }

private:
    const LookupIndex &GetListedIndex() const;
    const LookupIndex &GetPresentIndex() const;
    EntryIndex FindExactly(const std::string &path) const;
    bool CanBeServed(EntryIndex entry) const { return mTree->IsDirectory(entry) || IsPresent(entry); }

    const std::string mDirectory;
    const std::shared_ptr<const ManifestTree> mTree;
    const FilePlaces mPlaces;

    mutable std::once_flag mListedIndexMade;
    mutable std::unique_ptr<const LookupIndex> mListedIndex; ///< as if no file were missing
    mutable std::once_flag mPresentIndexMade;
    mutable std::unique_ptr<const LookupIndex> mPresentIndex; ///< for what only the library's own buckets decide
};
} // namespace Keld::TreeReader
