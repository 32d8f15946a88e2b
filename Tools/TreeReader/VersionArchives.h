#pragma once

#include "Tools/TreeReader/DiskFileCache.h"
#include "Tools/TreeReader/Fault.h"

#include "KeldMorvIO/archive/ArchiveFile.h"

#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// One usable archive: its index in memory, and its data file by name.
class Archive
{
public:
    /// Takes over the index, which has read its image.
    Archive(std::string indexPath, std::string dataPath, std::string name,
            std::unique_ptr<const MORV::Reader::ArchiveFile> index);

    const std::string &GetName() const { return mName; } ///< of the index file, without directory
    const std::string &GetIndexPath() const { return mIndexPath; }
    const std::string &GetDataPath() const { return mDataPath; }

    /// Records, their paths, and the search: what the reader has for an index.
    const MORV::Reader::ArchiveFile &GetIndex() const { return *mIndex; }

    /// Whether the data file can be opened; asked once.
    const Failure &CheckData(DiskFileCache &files) const;

private:
    const std::string mIndexPath;
    const std::string mName;
    const std::string mDataPath;
    const std::unique_ptr<const MORV::Reader::ArchiveFile> mIndex;
    mutable std::once_flag mDataChecked;
    mutable Failure mDataFailure;
};

/// Where an archive holds a path.
struct ArchiveHit
{
    const Archive *archive = nullptr; ///< null when no archive does
    uint32 number = 0;                ///< of the archive among those of its version
    uint32 record = 0;                ///< of its index
};

/// Whether the library deletes an index that it cannot use, where it may write. It leaves a FIFO, a character device,
/// and a link that leads to one or nowhere.
bool IsDeletedWhenUnusable(const std::string &indexPath);

/// All archives of one version of a project, read once, in the library's order. What the library would delete is left
/// out and left where it is. Does not change afterwards; any thread may search.
class VersionArchives
{
public:
    /// \param directory     of the indexes
    /// \param dataDirectory of the data files; the same but for projects of odd names
    VersionArchives(std::string directory, std::string dataDirectory);

    const std::string &GetDirectory() const { return mDirectory; }
    const std::vector<std::unique_ptr<const Archive>> &GetArchives() const { return mArchives; }

    /// The index files that give no archive, with the reason; the library deletes most of them, which the texts tell.
    /// Also why there is none at all.
    const std::vector<Fault> &GetFaults() const { return mFaults; }

    /// The first archive that holds a virtual path, as the library searches: several may.
    ArchiveHit Find(const char *path) const;

    /// The same for whoever has the path's HashName.
    ArchiveHit Find(uint32 hash, const char *path) const;

    /// What was found once. Unchecked.
    ArchiveHit GetHit(uint32 number, uint32 record) const { return {mArchives[number].get(), number, record}; }

private:
    void Load(const std::string &name);

    const std::string mDirectory;
    const std::string mDataDirectory;
    std::vector<std::unique_ptr<const Archive>> mArchives;
    std::vector<Fault> mFaults;
};
} // namespace Keld::TreeReader
