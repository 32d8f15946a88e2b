#pragma once

#include "Tools/TreeReader/Fault.h"

#include "KeldFoundation/version/MorvVersion.h"
#include "KeldMorvIO/listing/ManifestParsing.h"
#include "KeldMorvIO/listing/ManifestTables.h"
#include "KeldMorvIO/listing/ReleaseManifest.h"

#include <memory>
#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// Names a directory or file of one release: directories come first, then files, as the reader numbers them. The root
/// is entry 0.
using EntryIndex = uint32;

inline constexpr EntryIndex RootEntry = 0;
inline constexpr EntryIndex NoEntry = 0xFFFFFFFF;

/// A run of entries of one kind, in the library's order: ascending by name without regard to case.
struct EntryRange
{
    EntryIndex first = 0;
    uint32 count = 0;
};

/// What a release manifest lists: directories and files, checked and sorted by the reader. It never changes, so any
/// thread may ask; no entry has memory of its own. Whether files are really there is not its matter: see Release.
class ManifestTree
{
public:
    /// Bytes of a manifest file, at most.
    static constexpr uint64 LargestImage = 0x7FFFFFFF;

    /// Reads and checks a manifest file. `path` stands in what is said about it.
    static Result<std::unique_ptr<const ManifestTree>> Load(const std::string &path);

    /// The same from the bytes of the file, which are taken over.
    static Result<std::unique_ptr<const ManifestTree>> Parse(LargeVector<char> &image, const std::string &path);

    ManifestTree(const ManifestTree &) = delete;
    ManifestTree &operator=(const ManifestTree &) = delete;

    const char *GetProjectName() const { return mTables.GetProjectName(); }
    MorvVersion GetReleaseVersion() const { return mTables.GetReleaseVersion(); }

    /// The version word of the image: ReleaseManifestVersion or ReleaseManifestVersionV0.
    uint32 GetFormatVersion() const { return mFormatVersion; }

    uint32 GetDirectoryCount() const { return mTables.GetDirectoryCount(); } ///< the root included
    uint32 GetFileCount() const { return mTables.GetFileCount(); }
    uint32 GetEntryCount() const { return GetDirectoryCount() + GetFileCount(); }

    bool IsDirectory(EntryIndex entry) const { return entry < GetDirectoryCount(); }

    /// The entry of a file by its place in the manifest's table, and the way back.
    EntryIndex GetFileEntry(uint32 file) const { return GetDirectoryCount() + file; }
    uint32 GetFileNumber(EntryIndex file) const { return file - GetDirectoryCount(); }

    /// As the manifest spells it. A damaged one can have empty names, names with '/' in them, and names of any length.
    const char *GetName(EntryIndex entry) const;

    /// The directory that holds an entry; the root's is the root.
    EntryIndex GetParent(EntryIndex entry) const { return mParents[entry]; }

    // Of a directory.
    EntryRange GetSubdirectories(EntryIndex directory) const;
    EntryRange GetFiles(EntryIndex directory) const;

    /// Version, digest, flags and size of a file.
    const MORV::Reader::FileTableFields &GetFields(EntryIndex file) const
    {
        return mTables.GetFile(GetFileNumber(file));
    }

    /// The virtual path; of the root the empty text. A path of a damaged manifest is cut at MORV's log line size.
    std::string GetPath(EntryIndex entry) const;

    /// Puts the path behind what `text` holds, without memory of its own.
    void AppendPath(EntryIndex entry, std::string &text) const;

    /// All directories that can be reached, each in front of its children, level by level.
    const std::vector<uint32> &GetDirectoriesByLevel() const { return mLevelOrder; }

    /// Whether the manifest has what only a damaged one has, and what a lookup may find by accident: entries that no
    /// directory holds, or a root with a name.
    bool HasOddities() const { return mHasOddities; }

    /// False for a file that no directory holds.
    bool IsHeld(EntryIndex file) const { return mHeldFiles.empty() || mHeldFiles[GetFileNumber(file)]; }

    /// Whether an entry's path, put together from the leaf on, is this one, by the library's own rule.
    bool Matches(EntryIndex entry, const char *path) const;

    const MORV::Reader::ManifestTables &GetTables() const { return mTables; }

private:
    explicit ManifestTree(MORV::Reader::ParsedImage parsed);

    std::unique_ptr<MORV::Reader::ReleaseManifest> mManifest; ///< owns the image
    const MORV::Reader::ManifestTables &mTables;              ///< of mManifest
    const uint32 mFormatVersion;
    std::vector<EntryIndex> mParents;
    std::vector<uint32> mLevelOrder;
    std::vector<bool> mHeldFiles; ///< empty when all are
    bool mHasOddities = false;
};
} // namespace Keld::TreeReader
