// Where the files of a manifest lie on disk: the part of listing construction that asks the file system.

#include "KeldMorvIO/listing/ReleaseManifestTemplate.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/listing/ArchivedFileResolver.h"
#include "KeldMorvIO/listing/ManifestFileIterator.h"

#include <algorithm>
#include <tuple>

namespace Keld::MORV::Reader
{
namespace
{
constexpr const char *LocationSignature =
    "void Keld::MORV::Reader::ReleaseManifestTemplate<EntryType>::GetFileArchiveMetadata(const char *, const char *, "
    "std::vector<FileArchiveMetadata> &, std::vector<uint32> &, std::vector<uint32> &, "
    "ProjectListing::FileHandleHeader &) const";

bool IsArchived(uint32 flags)
{
    return (flags & FileFlagArchived) != 0;
}

/// FileFlagManaged means nothing on an archived file. It must not part two of them that share a handle, since a
/// listing closes the handle of each run of neighbours once.
bool IsManaged(uint32 flags)
{
    return !IsArchived(flags) && (flags & FileFlagManaged) != 0;
}

/// Found before missing, archived before managed before naked, sharers of a handle side by side.
bool ComesBefore(const FileArchiveMetadata &lhs, const FileArchiveMetadata &rhs)
{
    const auto key = [](const FileArchiveMetadata &record)
    {
        return std::make_tuple(record.fileIndex == MissingFileMark, !IsArchived(record.flags), !IsManaged(record.flags),
                               static_cast<int32>(record.file), record.fileIndex);
    };
    return key(lhs) < key(rhs);
}

void SortFound(std::vector<FileArchiveMetadata> &metadata, std::vector<uint32> &missing)
{
    for (const uint32 index : missing)
    {
        metadata[index].fileIndex = MissingFileMark;
        metadata[index].flags = MissingFileMark;
    }
    std::sort(metadata.begin(), metadata.end(), ComesBefore);
    std::sort(missing.begin(), missing.end());
    metadata.resize(metadata.size() - missing.size());
}

uint32 &CountOf(ProjectListing::FileHandleHeader &header, uint32 flags)
{
    if (IsArchived(flags))
    {
        return header.mArchivedCount;
    }
    return IsManaged(flags) ? header.mManagedCount : header.mNakedCount;
}

/// Whether a managed or naked file exists. A path that does not fit has been logged when it was made.
bool FindPlainFile(const char *projectRoot, MorvVersion releaseVersion, const FileTableFields &file, const char *path)
{
    const bool isManaged = IsManaged(file.flags);
    const auto type = isManaged ? ProjectListing::FileTypeManaged : ProjectListing::FileTypeDeploy;
    char diskPath[PathBufferSize];
    if (!ProjectListing::GetNakedFile(diskPath, sizeof diskPath, type, projectRoot, releaseVersion, file.version, path))
    {
        return false;
    }
    if (!std_file_exists(diskPath))
    {
        LogError("%s: Missing %s file: %s", LocationSignature, isManaged ? "managed" : "naked", diskPath);
        return false;
    }
    return true;
}
} // namespace

template <class EntryType>
void ReleaseManifestTemplate<EntryType>::GetFileArchiveMetadata(const char *root, const char *projectRoot,
                                                                std::vector<FileArchiveMetadata> &metadata,
                                                                std::vector<uint32> &missing,
                                                                std::vector<uint32> &parents,
                                                                ProjectListing::FileHandleHeader &header) const
{
    ArchivedFileResolver archives(root, projectRoot, GetProjectName(), GetReleaseVersion(), LocationSignature);
    metadata.assign(GetFileCount(), FileArchiveMetadata{});
    missing.clear();
    header = {};
    for (ManifestFileIterator<EntryType> entry(*this, parents); entry.IsValid(); entry.Next())
    {
        if (entry.GetFile() == nullptr)
        {
            continue;
        }
        const EntryType &file = *entry.GetFile();
        const uint32 index = entry.GetFileIndex();
        metadata[index] = {AsyncFile::Null, index, file.flags, 0, 0};
        const bool isFound = IsArchived(file.flags)
                                 ? archives.Resolve(entry.GetPath(), file.version, metadata[index])
                                 : FindPlainFile(projectRoot, GetReleaseVersion(), file, entry.GetPath().c_str());
        if (isFound)
        {
            ++CountOf(header, file.flags);
        }
        else
        {
            missing.push_back(index);
        }
    }
    SortFound(metadata, missing);
}

template void ReleaseManifestTemplate<FileTableEntry>::GetFileArchiveMetadata(const char *, const char *,
                                                                              std::vector<FileArchiveMetadata> &,
                                                                              std::vector<uint32> &,
                                                                              std::vector<uint32> &,
                                                                              ProjectListing::FileHandleHeader &) const;
template void ReleaseManifestTemplate<FileTableEntryV0>::GetFileArchiveMetadata(
    const char *, const char *, std::vector<FileArchiveMetadata> &, std::vector<uint32> &, std::vector<uint32> &,
    ProjectListing::FileHandleHeader &) const;
} // namespace Keld::MORV::Reader
