#pragma once

#include "KeldMorvIO/archive/ArchiveFile.h"
#include "KeldMorvIO/archive/PathTable.h"
#include "KeldMorvIO/archive/SortedPaths.h"

#include <span>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
/// The hashes of one path.
struct PathHashes
{
    uint32 name;  ///< HashName
    uint32 whole; ///< HashWholePath, or 0 where it is not known
};

/// All archives of one project release: which of them holds a path, and where in its data file. Read-only once made,
/// and then free to be searched from any thread.
///
/// Where two archives hold the same path, the first one wins. They stand in the order of the file system, unsorted.
class ArchiveVersionManager
{
public:
    /// Loads every index "*.vka" of the directory. Null when there is none that can be used. The caller owns the
    /// result. An index that cannot be used is deleted from the disk, whether or not a manager comes of it.
    static const ArchiveVersionManager *Create(const std::string &directory);

    /// Loads one index, or deletes it and gives null: one of another format, one that cannot be read for any reason,
    /// and one whose sizes add up to 0. Its data file stays. The caller owns the result.
    static const ArchiveFile *LoadArchiveFile(const char *directory, const char *name);

    /// Takes the archives over and leaves the vector empty. The manager deletes them.
    ArchiveVersionManager(const std::string &directory, std::vector<const ArchiveFile *> &archives);
    ~ArchiveVersionManager();

    ArchiveVersionManager(const ArchiveVersionManager &) = delete;
    ArchiveVersionManager &operator=(const ArchiveVersionManager &) = delete;

    bool FileExists(const char *name) const;

    /// The first archive that holds the name, or null. `hash` is only logged. The archive stays the manager's.
    const ArchiveFile *FindArchive(unsigned long hash, const char *name) const;

    /// The name of the data file, without directory, that holds `name`, and the byte range of the stored form in it.
    /// Without a hit `archive` is empty and both numbers are 0.
    bool Find(const std::string &name, std::string &archive, uint32 &offset, uint32 &size) const;

    /// The same for a path whose hashes are known, without a text for the answer: the archive that holds the path, or
    /// null. It stays the manager's.
    const ArchiveFile *FindRange(ArchivePath &path, const PathHashes &hashes, uint32 &offset, uint32 &size) const;

    /// Whether lookups want the hash of the whole path.
    bool WantsWholeHashes() const { return mPaths.IsKnown(); }

    /// Has the processor fetch what `FindRange` will look at for each path, given by its HashWholePath: for lookups
    /// that follow soon. Only where those are wanted.
    void FetchAhead(std::span<const uint32> wholeHashes) const { mPaths.FetchAhead(wholeHashes); }

    /// Appends the paths of all archives, archive after archive.
    void GetContents(std::vector<std::string> &paths) const;

    const char *GetDirectory() const { return mDirectory.c_str(); }

private:
    const ArchiveFile *AskEach(const std::string &name, uint32 hash, uint32 &offset, uint32 &size) const;
    const ArchiveFile *AskQuietly(ArchivePath &path, const PathHashes &hashes, uint32 &offset, uint32 &size) const;

    std::vector<const ArchiveFile *> mArchives; ///< owned, in the order of the file system
    SortedPaths mSortedPaths;                   ///< of mArchives
    PathTable mPaths;                           ///< of mArchives, where those are not known
    std::string mDirectory;
};
} // namespace Keld::MORV::Reader
