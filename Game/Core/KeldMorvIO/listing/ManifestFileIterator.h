#pragma once

#include "KeldFoundation/logger/LineFormat.h"
#include "KeldMorvIO/listing/ReleaseManifestTemplate.h"

#include <queue>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
/// As much of a path as a walk makes, in bytes: it fills a log line, and is more than any path on disk may have. The
/// paths of a damaged manifest can be longer than itself: many entries may share a long name, or lie below each other.
inline constexpr uint32 ManifestPathLimit = Logger::LineBufferSize;

/// Walks all entries of a manifest but its root, level by level; in each directory the subdirectories come first, then
/// the files. Paths are virtual paths: without a leading '/', and without the root's name.
template <class EntryType>
class ManifestFileIterator
{
public:
    /// Stands on the first entry.
    /// \param manifest borrowed, and valid.
    /// \param parents  filled as the walk goes: the parent directory of every entry, where directory i is entry i and
    ///                 file j is entry D + j. The root, and what no directory holds, have parent 0.
    ManifestFileIterator(const ReleaseManifestTemplate<EntryType> &manifest, std::vector<uint32> &parents);

    bool IsValid() const { return mDirectory != nullptr; }
    void Next();

    /// The full path of the current entry, or as much of it as ManifestPathLimit allows. Made when it is asked for;
    /// good until the next step.
    const std::string &GetPath();

    /// The current file's record, or null on a directory.
    const EntryType *GetFile() const { return mFile; }

    /// Of the current file, in the manifest's file table.
    uint32 GetFileIndex() const;

private:
    /// What the paths of a directory's children begin with: the path of a directory and a '/'. The directory is the
    /// children's own, unless an ancestor's path has reached the limit already.
    struct Prefix
    {
        uint32 directory;
        uint32 depth;  ///< levels below the root
        uint32 length; ///< bytes
    };

    struct QueuedDirectory
    {
        Prefix prefix;
        uint32 index;
    };

    void EnterDirectory(const QueuedDirectory &directory);
    void LoadEntry();
    void LoadSubdirectory(uint32 index);
    void LoadFile(uint32 index);
    Prefix PrefixBelow(uint32 subdirectory) const;
    void MakePrefix();
    void Append(const char *text);

    const ReleaseManifestTemplate<EntryType> &mManifest;
    std::vector<uint32> &mParents;
    uint32 mDirectoryIndex = 0;
    const DirectoryTableEntry *mDirectory = nullptr; ///< null at the end
    std::queue<QueuedDirectory> mQueue;              ///< directories with children, whose turn comes later
    Prefix mPrefix = {0, 0, 0};                      ///< of the current directory's children
    std::vector<Prefix> mMadePrefixes;               ///< those that `mPath` begins with, by depth from 1 on
    std::string mPath;
    const char *mName = nullptr; ///< the current entry's
    uint32 mPosition = 0;        ///< among the current directory's children
    const EntryType *mFile = nullptr;
};
} // namespace Keld::MORV::Reader
