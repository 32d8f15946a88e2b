#pragma once

#include "KeldMorvIO/listing/ReleaseManifestTemplate.h"

#include <queue>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
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

    /// The full path of the current entry.
    const std::string &GetPath() const { return mPath; }

    /// The current file's record, or null on a directory.
    const EntryType *GetFile() const { return mFile; }

    /// Of the current file, in the manifest's file table.
    uint32 GetFileIndex() const;

private:
    void EnterDirectory(uint32 index);
    void LoadEntry();
    void LoadSubdirectory(uint32 index);
    void LoadFile(uint32 index);

    const ReleaseManifestTemplate<EntryType> &mManifest;
    std::vector<uint32> &mParents;
    uint32 mDirectoryIndex = 0;
    const DirectoryTableEntry *mDirectory = nullptr; ///< null at the end
    std::queue<uint32> mQueue;                       ///< directories with children, whose turn comes later
    uint_size mPrefixLength = 0;                     ///< of `mPath`: the current directory's path and its '/'
    std::string mPath;
    uint32 mPosition = 0; ///< among the current directory's children
    const EntryType *mFile = nullptr;
};
} // namespace Keld::MORV::Reader
