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

bool ArchivedFileResolver::Resolve(ArchivePath &path, const PathHashes &hashes, MorvVersion fileVersion,
                                   FileArchiveMetadata &record)
{
    const ArchiveVersionManager *const archives = GetArchives(fileVersion);
    if (archives == nullptr)
    {
        LogError("%s: Missing archive files for version %s: affects: %s", mSignature,
                 FormatVersion(fileVersion).c_str(), path.GetPath().c_str());
        return false;
    }
    const ArchiveFile *const archive = archives->FindRange(path, hashes, record.offset, record.size);
    if (archive == nullptr)
    {
        LogError("%s: Archives for version %s are missing an entry for: %s", mSignature,
                 FormatVersion(fileVersion).c_str(), path.GetPath().c_str());
        return false;
    }
    if (archive != mLastArchive)
    {
        const auto known = mOpenFiles.find(archive);
        if (known == mOpenFiles.end() && !FindDataFile(*archive, fileVersion, path, record.file))
        {
            return false;
        }
        mLastArchive = archive;
        mLastFile = known != mOpenFiles.end() ? known->second : record.file;
    }
    record.file = mLastFile;
    return true;
}

bool ArchivedFileResolver::WantsWholeHashes(MorvVersion fileVersion) const
{
    return mLastArchives != nullptr && mLastVersion == fileVersion && mLastArchives->WantsWholeHashes();
}

// A version whose archives cannot be loaded is tried again for each of its files, and logs its failure each time.
const ArchiveVersionManager *ArchivedFileResolver::GetArchives(MorvVersion version)
{
    if (mLastArchives == nullptr || mLastVersion != version)
    {
        mLastArchives = mArchives.GetVersionManager(mRoot, mProjectName, version);
        mLastVersion = version;
    }
    return mLastArchives;
}

bool ArchivedFileResolver::FindDataFile(const ArchiveFile &archive, MorvVersion fileVersion, ArchivePath &path,
                                        AsyncFile &file)
{
    char dataFilePath[PathBufferSize];
    if (!DiskPaths::GetNakedFile(dataFilePath, sizeof dataFilePath, DiskPaths::FileTypeArchive, mProjectRoot,
                                 mReleaseVersion, fileVersion, archive.GetDataFilename().c_str()))
    {
        return false;
    }
    file = OpenDataFile(dataFilePath);
    if (file == AsyncFile::Null)
    {
        LogError("%s: Missing archive file: %s: affects: %s", mSignature, dataFilePath, path.GetPath().c_str());
        return false;
    }
    mOpenFiles.emplace(&archive, file);
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
