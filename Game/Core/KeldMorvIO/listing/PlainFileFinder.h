#pragma once

#include "KeldFoundation/CStd/FileProbe.h"
#include "KeldMorvIO/listing/DiskPaths.h"
#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <string>

namespace Keld::MORV::Reader
{
/// Finds managed and naked files for the time in which one manifest's files are located: tells of each whether it lies
/// where it should.
class PlainFileFinder
{
public:
    /// All texts are borrowed for the life of the object.
    /// \param signature of the function in whose name failures are logged.
    PlainFileFinder(const char *projectRoot, MorvVersion releaseVersion, const char *signature);

    /// Whether the file is there; logged, when it is not.
    /// \param path the full virtual path.
    bool Find(const FileTableFields &file, const std::string &path);

    /// Gives back what is kept open for the files of one directory.
    void Release() { mProbe.Release(); }

private:
    const char *MakeDiskPath(DiskPaths::FileType type, MorvVersion fileVersion, const std::string &path);

    const char *mProjectRoot;
    MorvVersion mReleaseVersion;
    const char *mSignature;
    FileProbe mProbe;

    std::string mDiskPath; ///< of the last file

    // What mDiskPath begins with, in front of the virtual path, and for which files.
    uint_size mDirectoryLength = 0; ///< 0 when that is not known
    DiskPaths::FileType mType = DiskPaths::FileTypeArchive;
    MorvVersion mFileVersion = 0;
};
} // namespace Keld::MORV::Reader
