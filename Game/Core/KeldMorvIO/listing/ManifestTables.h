#pragma once

#include "KeldFoundation/file/ByteView.h"
#include "KeldFoundation/version/MorvVersion.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <vector>

namespace Keld::MORV::Reader
{
/// The tables of one release manifest, where they lie in its image. The versions of the file differ in the size of a
/// file record alone, which is a number here; whoever moves records needs their type, and everyone else reads by this.
///
/// Copies are views of the same image, which must outlive them. No index is checked: see ManifestBounds.h.
class ManifestTables
{
public:
    /// Finds the tables, each behind the one before it. False when one of them, or the string data, does not lie inside
    /// the image whole; nothing may be asked then. What stands behind the string data is tolerated.
    /// \param fileRecordSize the stride of the file table, in bytes.
    bool Locate(const ByteView &image, uint_size fileRecordSize);

    /// Finds the strings from the first to that of the highest name index of all records. Those behind it are left
    /// alone, as a file can hold one in each of its bytes. Every name index must have passed its check.
    void IndexStrings();

    const char *GetProjectName() const { return GetString(mIdentity->projectNameIndex); }
    MorvVersion GetReleaseVersion() const { return mIdentity->releaseVersion; }
    uint32 GetDirectoryCount() const { return *mDirectoryCount; } ///< the root, which is record 0, included
    uint32 GetFileCount() const { return *mFileCount; }

    // Indices must be below their counts.
    const DirectoryTableEntry *GetDirectories() const { return mDirectories; }
    const DirectoryTableEntry &GetDirectory(uint32 index) const { return mDirectories[index]; }
    const FileTableFields &GetFile(uint32 index) const
    {
        return *reinterpret_cast<const FileTableFields *>(mFiles + uint_size{index} * mFileRecordSize);
    }

    /// The highest name index of the project and of all records.
    uint32 GetHighestNameIndex() const;

    /// The string of a record's name index. Only after IndexStrings.
    const char *GetString(uint32 index) const { return mStrings[index]; }
    const std::vector<const char *> &GetStrings() const { return mStrings; }

    uint32 GetProjectNameIndex() const { return mIdentity->projectNameIndex; }

    /// A reservation, and no count of strings.
    uint32 GetStatedStringCount() const { return mStringTable->stringCount; }

    /// The string data, which begins with string 0, and its size in bytes.
    const char *GetStringData() const { return reinterpret_cast<const char *>(mStringTable + 1); }
    uint32 GetStringDataSize() const { return mStringTable->dataSize; }

protected:
    const char *GetFileTable() const { return mFiles; }

private:
    const ReleaseIdentity *mIdentity = nullptr;
    const Little32 *mDirectoryCount = nullptr;
    const DirectoryTableEntry *mDirectories = nullptr;
    const Little32 *mFileCount = nullptr;
    const char *mFiles = nullptr;
    uint_size mFileRecordSize = 0; ///< bytes
    const StringTableHeader *mStringTable = nullptr;
    std::vector<const char *> mStrings; ///< up to the last one that a record refers to
};
} // namespace Keld::MORV::Reader
