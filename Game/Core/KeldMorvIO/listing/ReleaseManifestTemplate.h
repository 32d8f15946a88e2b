#pragma once

#include "KeldFoundation/CStd/LargeVector.h"
#include "KeldMorvIO/listing/FileArchiveMetadata.h"
#include "KeldMorvIO/listing/ManifestTables.h"
#include "KeldMorvIO/listing/ReleaseManifest.h"

#include <vector>

namespace Keld::MORV::Reader
{
class NameOrder;
struct FileHandleHeader;

/// The manifest for one version of the file record. It owns the image and brings its records into order; everything
/// else works on the tables, which know the version as a stride.
///
/// The image is checked whole at construction: table sizes, string indices, child ranges, and that the directories form
/// trees. After that every index in a record is trusted.
template <class EntryType>
class ReleaseManifestTemplate final : public ReleaseManifest, public ManifestTables
{
public:
    /// Takes over the bytes of `image`, which is empty afterwards.
    explicit ReleaseManifestTemplate(LargeVector<char> &image);

    bool IsValid() const override;
    ProjectListing *CreateListing(const char *root) const override;

    /// A file's record with the bytes that only travel with it. The index must be below the count.
    const EntryType &GetFile(uint32 index) const
    {
        return static_cast<const EntryType &>(ManifestTables::GetFile(index));
    }

    /// Finds every file on disk, once: see FileLocation.h.
    void GetFileArchiveMetadata(const char *root, const char *projectRoot, LargeVector<FileArchiveMetadata> &metadata,
                                std::vector<uint32> &missing, LargeVector<uint32> &parents,
                                FileHandleHeader &header) const;

private:
    bool CheckImage();
    void SortTree();
    void SortDirectory(const DirectoryTableEntry &directory, const NameOrder &names);

    LargeVector<char> mImage;
    const char *mEnd = nullptr; ///< of the image; its start when the image is not valid
};
} // namespace Keld::MORV::Reader
