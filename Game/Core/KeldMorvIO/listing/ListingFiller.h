#pragma once

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
    std::vector<FileArchiveMetadata> metadata; ///< of the kept files: archived, managed, naked
    std::vector<uint32> missing;               ///< manifest indices of the dropped files, ascending
    std::vector<uint32> parents;               ///< parent directory by combined index: directories, then files
    std::vector<uint32> remap;                 ///< new index by manifest file index, or DroppedFileMark
    std::vector<const char *> strings;         ///< the manifest's strings, inside the block
    std::vector<uint32> hashes;                ///< by combined index
    std::vector<HashPair> pairs;               ///< by bucket
    FileHandleHeader handles = {};
};

/// Fills the regions of a zeroed block from a manifest and the files that were found for it. The strings are there
/// already.
class ListingFiller
{
public:
    /// All arguments are borrowed for the life of the object.
    ListingFiller(const ManifestTables &manifest, const ListingSources &sources, const ListingRegions &regions,
                  const ListingCounts &counts);

    void Fill();

private:
    void FillHeader();
    void FillTable();
    const FileEntry *EntryOf(uint32 combinedIndex) const;
    void FillDirectories();
    void FillFileRange(const DirectoryTableEntry &record, DirectoryEntry &entry);
    std::vector<FileInfo *> MakeOpenStates();
    void MakePlainStates(FileInfo *states, uint32 firstMetadata, uint32 count, std::vector<FileInfo *> &infos);
    void FillFiles(const std::vector<FileInfo *> &infos);

    const ManifestTables &mManifest;
    const ListingSources &mSources;
    const ListingRegions &mRegions;
    const ListingCounts &mCounts;
};
} // namespace Keld::MORV::Reader
