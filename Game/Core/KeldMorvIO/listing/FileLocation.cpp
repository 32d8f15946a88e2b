#include "KeldMorvIO/listing/FileLocation.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/listing/ArchivedFileResolver.h"
#include "KeldMorvIO/listing/DiskPaths.h"
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

// Found before missing, archived before managed before naked. Archived files that share a handle stand side by side,
// since a listing closes the handle of each run of neighbours once.
bool ComesBefore(const FileArchiveMetadata &lhs, const FileArchiveMetadata &rhs)
{
    const auto key = [](const FileArchiveMetadata &record)
    {
        return std::make_tuple(record.fileIndex == MissingFileMark, !IsArchivedFile(record.flags),
                               !IsManagedFile(record.flags), static_cast<int32>(record.file), record.fileIndex);
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

uint32 &CountOf(FileHandleHeader &header, uint32 flags)
{
    if (IsArchivedFile(flags))
    {
        return header.mArchivedCount;
    }
    return IsManagedFile(flags) ? header.mManagedCount : header.mNakedCount;
}

// Whether a managed or naked file exists. A path that does not fit has been logged when it was made.
bool FindPlainFile(const char *projectRoot, MorvVersion releaseVersion, const FileTableFields &file, const char *path)
{
    const bool isManaged = IsManagedFile(file.flags);
    const auto type = isManaged ? DiskPaths::FileTypeManaged : DiskPaths::FileTypeDeploy;
    char diskPath[PathBufferSize];
    if (!DiskPaths::GetNakedFile(diskPath, sizeof diskPath, type, projectRoot, releaseVersion, file.version, path))
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

void LocateFiles(const ManifestTables &manifest, const char *root, const char *projectRoot,
                 std::vector<FileArchiveMetadata> &metadata, std::vector<uint32> &missing, std::vector<uint32> &parents,
                 FileHandleHeader &header)
{
    ArchivedFileResolver archives(root, projectRoot, manifest.GetProjectName(), manifest.GetReleaseVersion(),
                                  LocationSignature);
    metadata.assign(manifest.GetFileCount(), FileArchiveMetadata{});
    missing.clear();
    header = {};
    for (ManifestFileIterator entry(manifest, parents); entry.IsValid(); entry.Next())
    {
        if (entry.GetFile() == nullptr)
        {
            continue;
        }
        const FileTableFields &file = *entry.GetFile();
        const uint32 index = entry.GetFileIndex();
        metadata[index] = {AsyncFile::Null, index, file.flags, 0, 0};
        const bool isFound =
            IsArchivedFile(file.flags)
                ? archives.Resolve(entry.GetPath(), entry.GetPathHash(), file.version, metadata[index])
                : FindPlainFile(projectRoot, manifest.GetReleaseVersion(), file, entry.GetPath().c_str());
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
} // namespace Keld::MORV::Reader
