#pragma once

#include "KeldFoundation/CStd/LargeVector.h"
#include "KeldFoundation/logger/LineFormat.h"
#include "KeldMorvIO/archive/ArchivePath.h"
#include "KeldMorvIO/listing/ManifestTables.h"
#include "KeldMorvIO/listing/PathPrefixQueue.h"

#include <array>
#include <span>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
/// The walk cuts paths off at this many bytes: enough to fill a log line, and more than a path on disk may have. Paths
/// of a damaged manifest can be longer than the manifest, where many entries share a long name or lie below each other.
inline constexpr uint32 ManifestPathLimit = Logger::LineBufferSize;

/// How much path text a walk keeps for later, in bytes. With names of one character that is enough for 4,000 chains of
/// directories at any depth.
inline constexpr uint_size KeptPrefixBudget = 0x2000000;

/// Walks all entries of a manifest but its root, level by level; in each directory the subdirectories come first, then
/// the files. Paths are virtual paths: without a leading '/', and without the root's name.
class ManifestFileIterator final : public ArchivePath
{
public:
    /// Stands on the first entry.
    /// \param manifest borrowed, and valid.
    /// \param parents  filled as the walk goes: the parent directory of every entry, where directory i is entry i and
    ///                 file j is entry D + j. The root, and what no directory holds, have parent 0.
    /// \param prefixBudget how many bytes of path text may wait with the directories of a level.
    ManifestFileIterator(const ManifestTables &manifest, LargeVector<uint32> &parents,
                         uint_size prefixBudget = KeptPrefixBudget);

    bool IsValid() const { return mDirectory != nullptr; }
    void Next();

    /// The full path of the current entry, or as much of it as ManifestPathLimit allows. Made when it is asked for;
    /// good until the next step.
    const std::string &GetPath() override;

    /// HashName of the path that GetPath gives, without making it. Of a subdirectory it is worked out at each call.
    uint32 GetPathHash();

    /// HashWholePath of the current file's path, or 0 where it was not worked out with the other.
    uint32 GetWholePathHash() const { return HasPathHash() ? mWholeHashes[mPosition - mFirstHashed] : 0; }

    /// Whether the current file's hashes are among those that were worked out last.
    bool HasPathHash() const { return mFile != nullptr && mPosition - mFirstHashed < mHashedCount; }

    /// Works out HashName of the paths of the current file and of some that follow it in its directory.
    void MakePathHashes();

    /// The same, and HashWholePath too. Gives those, or 0 for paths of which it takes the whole text to tell. Good
    /// until the next call.
    std::span<const uint32> MakeWholePathHashes();

    /// The current file's record, or null on a directory.
    const FileTableFields *GetFile() const { return mFile; }

    /// Of the current file, in the manifest's file table.
    uint32 GetFileIndex() const;

private:
    /// What the paths of a directory's children begin with: a directory's path and a '/'. That is the path of the
    /// children's parent, or of its first ancestor whose path fills the limit.
    struct Prefix
    {
        uint32 directory;
        uint32 depth;  ///< levels below the root
        uint32 length; ///< bytes
        uint32 hash;   ///< HashName of the text, which goes on over a name
    };

    void EnterNextDirectory();
    void LoadEntry();
    void LoadSubdirectory(uint32 index);
    void LoadFile(uint32 index);
    Prefix PrefixBelow(uint32 subdirectory) const;
    uint32 HashPath(const char *name) const;
    uint32 HashWhole(uint64 prefixHash, const char *name) const;
    const char *GetFileName(uint32 position) const;
    void KeepPrefixes();
    uint32 GetLastParent() const;
    void MakePrefix();
    void Append(const char *text);

    const ManifestTables &mManifest;
    LargeVector<uint32> &mParents;
    std::vector<uint32> mOrder;    ///< all directories, level by level
    uint_size mNextDirectory = 0;  ///< in mOrder
    std::vector<Prefix> mPrefixes; ///< by directory, of its children
    uint32 mDirectoryIndex = 0;
    const DirectoryTableEntry *mDirectory = nullptr; ///< null at the end
    PathPrefixQueue mKeptPrefixes;                   ///< the text for directories behind mNextDirectory
    std::vector<Prefix> mMadePrefixes;               ///< those that `mPath` begins with, by depth from 1 on
    std::vector<uint32> mUnmadePrefixes;             ///< room for MakePrefix
    std::string mPath;
    bool mHasPrefix = false;     ///< whether `mPath` begins with the current directory's prefix
    const char *mName = nullptr; ///< the current entry's
    uint32 mPosition = 0;        ///< among the current directory's children
    const FileTableFields *mFile = nullptr;

    // Of files of the current directory that stand in a row.
    std::array<uint32, 16> mPathHashes{};
    std::array<uint32, 16> mWholeHashes{};
    uint32 mFirstHashed = 0; ///< position of the first
    uint32 mHashedCount = 0;
};
} // namespace Keld::MORV::Reader
