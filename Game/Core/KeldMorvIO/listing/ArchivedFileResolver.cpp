#include "KeldMorvIO/listing/ArchivedFileResolver.h"

#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/archive/ArchiveVersionManager.h"
#include "KeldMorvIO/listing/DiskPaths.h"

namespace Keld::MORV::Reader
{
ArchivedFileResolver::ArchivedFileResolver(const char *root, const char *projectRoot, const char *projectName,
                                           MorvVersion releaseVersion, const char *signature)
    : mRoot(root != nullptr ? root : ""), mProjectRoot(projectRoot), mProjectName(projectName),
      mReleaseVersion(releaseVersion), mSignature(signature)
{
}

// A version whose archives cannot be loaded is tried again for each of its files, and logs its failure each time.
bool ArchivedFileResolver::Resolve(const std::string &path, MorvVersion fileVersion, FileArchiveMetadata &record)
{
    const ArchiveVersionManager *const archives = mArchives.GetVersionManager(mRoot, mProjectName, fileVersion);
    if (archives == nullptr)
    {
        LogError("%s: Missing archive files for version %s: affects: %s", mSignature,
                 FormatVersion(fileVersion).c_str(), path.c_str());
        return false;
    }
    std::string dataFileName;
    if (!archives->Find(path, dataFileName, record.offset, record.size))
    {
        LogError("%s: Archives for version %s are missing an entry for: %s", mSignature,
                 FormatVersion(fileVersion).c_str(), path.c_str());
        return false;
    }
    char dataFilePath[PathBufferSize];
    if (!DiskPaths::GetNakedFile(dataFilePath, sizeof dataFilePath, DiskPaths::FileTypeArchive, mProjectRoot,
                                 mReleaseVersion, fileVersion, dataFileName.c_str()))
    {
        return false;
    }
    record.file = OpenDataFile(dataFilePath);
    if (record.file == AsyncFile::Null)
    {
        LogError("%s: Missing archive file: %s: affects: %s", mSignature, dataFilePath, path.c_str());
        return false;
    }
    return true;
}

// A failure is kept too, so that a data file is tried once and not once for each file in it.
AsyncFile ArchivedFileResolver::OpenDataFile(const char *path)
{
    const auto [place, isNew] = mDataFiles.try_emplace(path, AsyncFile::Null);
    if (isNew)
    {
        place->second = AsyncOpen(path);
    }
    return place->second;
}
} // namespace Keld::MORV::Reader
