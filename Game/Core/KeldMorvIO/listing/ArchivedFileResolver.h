#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/version/MorvVersion.h"
#include "KeldMorvIO/archive/ArchiveManager.h"
#include "KeldMorvIO/archive/ArchiveVersionManager.h"
#include "KeldMorvIO/blocks/AsyncFile.h"
#include "KeldMorvIO/listing/FileArchiveMetadata.h"

#include <map>
#include <span>
#include <string>
#include <unordered_map>

namespace Keld::MORV::Reader
{
/// Finds archived files for the time in which one manifest's files are located: asks the archives of a file's own
/// version where its bytes lie, and opens each data file once. The indexes go with this object; the open data files
/// belong to the records that they were put in.
class ArchivedFileResolver
{
public:
    /// All texts are borrowed for the life of the object.
    /// \param signature of the function in whose name failures are logged.
    ArchivedFileResolver(const char *root, const char *projectRoot, const char *projectName, MorvVersion releaseVersion,
                         const char *signature);

    /// Fills in the record's data file, offset and size. False, logged, when the file cannot be found; what stands in
    /// the record then has no meaning.
    /// \param path the full virtual path.
    bool Resolve(ArchivePath &path, const PathHashes &hashes, MorvVersion fileVersion, FileArchiveMetadata &record);

    /// Whether files of this version are found faster when HashWholePath of some is told ahead.
    bool WantsWholeHashes(MorvVersion fileVersion) const;

    /// Tells HashWholePath of files that follow soon. Only where it is wanted.
    void FetchAhead(std::span<const uint32> wholeHashes) const { mLastArchives->FetchAhead(wholeHashes); }

private:
    const ArchiveVersionManager *GetArchives(MorvVersion version);
    bool FindDataFile(const ArchiveFile &archive, MorvVersion fileVersion, ArchivePath &path, AsyncFile &file);
    AsyncFile OpenDataFile(const char *path);

    std::string mRoot;
    const char *mProjectRoot;
    std::string mProjectName;
    MorvVersion mReleaseVersion;
    const char *mSignature;
    ArchiveManager mArchives;
    std::map<std::string, AsyncFile> mDataFiles; ///< by disk path; null for one that could not be opened

    // What the last file led to, since the next one mostly leads there too. Of successes alone: a failure is reported
    // for each file, and each file brings it about anew.
    MorvVersion mLastVersion = 0;
    const ArchiveVersionManager *mLastArchives = nullptr; ///< of mLastVersion; null when there are none
    const ArchiveFile *mLastArchive = nullptr;            ///< one of mOpenFiles
    AsyncFile mLastFile = AsyncFile::Null;                ///< its data file
    std::unordered_map<const ArchiveFile *, AsyncFile> mOpenFiles;
};
} // namespace Keld::MORV::Reader
