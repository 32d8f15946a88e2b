#pragma once

#include "KeldFoundation/CStd/LargeVector.h"
#include "KeldMorvIO/listing/EntryHashes.h"
#include "KeldMorvIO/listing/FileArchiveMetadata.h"
#include "KeldMorvIO/listing/ListingLayout.h"
#include "KeldMorvIO/listing/ManifestTables.h"

#include <vector>

namespace Keld::MORV::Reader
{
/// The place of a dropped file in the numbering of the kept ones.
inline constexpr uint32 DroppedFileMark = 0xFFFFFFFF;

/// What a block is filled from, besides the manifest.
struct ListingSources
{
    LargeVector<FileArchiveMetadata> metadata; ///< of the kept files: archived, managed, naked
    std::vector<uint32> missing;               ///< manifest indices of the dropped files, ascending
    LargeVector<uint32> parents;               ///< parent directory by combined index: directories, then files
    std::vector<uint32> remap; ///< new index by manifest file index, or DroppedFileMark; empty when all files are kept
    LargeVector<HashedEntry> entries; ///< by bucket. Gone once the table is filled.
    FileHandleHeader handles = {};
};

/// Fills the regions of a zeroed block from a manifest and the files that were found for it. The strings are there
/// already.
class ListingFiller
{
public:
    /// All arguments are borrowed for the life of the object.
    ListingFiller(const ManifestTables &manifest, ListingSources &sources, const ListingRegions &regions,
                  const ListingCounts &counts);

    void Fill();

private:
    void FillHeader();
    void FillTable();
    const FileEntry *EntryOf(uint32 combinedIndex) const;
    uint32 GetKept(uint32 fileIndex) const;
    const char *GetString(uint32 nameIndex) const;
    void FillDirectories();
    void FillFileRange(const DirectoryTableEntry &record, DirectoryEntry &entry);
    LargeVector<uint32> MakeOpenStates();
    void MakePlainStates(FileInfo *states, uint32 firstMetadata, uint32 count, LargeVector<uint32> &numbers);
    FileInfo *GetState(uint32 number) const;
    void FillFiles(const LargeVector<uint32> &stateNumbers);

    const ManifestTables &mManifest;
    ListingSources &mSources;
    const ListingRegions &mRegions;
    const ListingCounts &mCounts;
};
} // namespace Keld::MORV::Reader
