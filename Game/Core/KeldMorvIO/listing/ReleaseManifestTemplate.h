#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/version/MorvVersion.h"
#include "KeldMorvIO/listing/FileArchiveMetadata.h"
#include "KeldMorvIO/listing/ProjectListing.h"
#include "KeldMorvIO/listing/ReleaseManifest.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <utility>
#include <vector>

namespace Keld::MORV::Reader
{
class NameOrder;

/// The manifest for one version of the file record, which sets the stride of the file table and nothing else.
///
/// The image is checked whole at construction: table sizes, string indices, child ranges, and that the directories form
/// trees. After that every index in a record is trusted. Its members are defined in several source files, by theme;
/// each instantiates its own for both versions.
template <class EntryType>
class ReleaseManifestTemplate final : public ReleaseManifest
{
public:
    /// Takes over the bytes of `image`, which is empty afterwards.
    explicit ReleaseManifestTemplate(std::vector<char> &image);

    bool IsValid() const override;
    ProjectListing *CreateListing(const char *root) const override;

    // Of a valid manifest. Indices must be below their counts.
    const char *GetProjectName() const { return GetString(mIdentity->projectNameIndex); }
    MorvVersion GetReleaseVersion() const { return mIdentity->releaseVersion; }
    uint32 GetDirectoryCount() const { return *mDirectoryCount; } ///< at least 1: record 0 is the root
    uint32 GetFileCount() const { return *mFileCount; }
    const DirectoryTableEntry &GetDirectory(uint32 index) const { return mDirectories[index]; }
    const EntryType &GetFile(uint32 index) const { return mFiles[index]; }

    /// The string of a record's name index: it and its NUL lie inside the string data.
    const char *GetString(uint32 index) const { return mStrings[index]; }

    /// The string data, which begins with string 0, and its size in bytes.
    const char *GetStringData() const { return reinterpret_cast<const char *>(mStringTable + 1); }
    uint32 GetStringDataSize() const { return mStringTable->dataSize; }

    /// Finds every file on disk, once, and logs and leaves out what cannot be found.
    /// \param metadata out: the files found; archived ones first, with those that share a handle side by side, then
    ///                 managed, then naked ones, each group by file index. A file that no directory holds has a record
    ///                 of zeros, in front of the naked ones.
    /// \param missing  out: indices of the files not found, ascending.
    /// \param parents  out: the parent directory of every entry; directory i is entry i, file j is entry D + j.
    /// \param header   out: how many files of each kind were found.
    void GetFileArchiveMetadata(const char *root, const char *projectRoot, std::vector<FileArchiveMetadata> &metadata,
                                std::vector<uint32> &missing, std::vector<uint32> &parents,
                                ProjectListing::FileHandleHeader &header) const;

private:
    // The steps of construction
    bool SetPointers();
    bool CheckTree() const;
    uint32 GetHighestNameIndex() const;
    void IndexStrings();
    void SortTree();
    void SortDirectory(const DirectoryTableEntry &directory, const NameOrder &names);

    // The steps of CreateListing
    void BuildFileRemap(std::vector<uint32> &remap, const std::vector<uint32> &missing) const;
    uint32 BuildHashPairs(std::vector<std::pair<uint32, uint32>> &pairs, const std::vector<uint32> &missing) const;
    void BuildEntryHashes(std::vector<uint32> &hashes) const;
    void CopyStrings(char *destination, std::vector<const char *> &strings) const;

    std::vector<char> mImage;
    const ReleaseManifestHeader *mHeader = nullptr;
    const ReleaseIdentity *mIdentity = nullptr;
    const Little32 *mDirectoryCount = nullptr;
    DirectoryTableEntry *mDirectories = nullptr; ///< sorted in place
    const Little32 *mFileCount = nullptr;
    EntryType *mFiles = nullptr; ///< sorted in place
    const StringTableHeader *mStringTable = nullptr;
    const char *mEnd = nullptr;         ///< of the image; its start when the image is not valid
    std::vector<const char *> mStrings; ///< up to the last one that a record refers to
};
} // namespace Keld::MORV::Reader
