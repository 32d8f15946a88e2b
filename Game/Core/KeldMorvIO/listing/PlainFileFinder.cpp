#include "KeldMorvIO/listing/PlainFileFinder.h"

#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/ReaderTypes.h"

namespace Keld::MORV::Reader
{
PlainFileFinder::PlainFileFinder(const char *projectRoot, MorvVersion releaseVersion, const char *signature)
    : mProjectRoot(projectRoot), mReleaseVersion(releaseVersion), mSignature(signature)
{
}

// A path that does not fit has been logged when it was made.
bool PlainFileFinder::Find(const FileTableFields &file, const std::string &path)
{
    const bool isManaged = IsManagedFile(file.flags);
    const auto type = isManaged ? DiskPaths::FileTypeManaged : DiskPaths::FileTypeDeploy;
    const char *const diskPath = MakeDiskPath(type, isManaged ? uint32{file.version} : 0, path);
    if (diskPath == nullptr)
    {
        return false;
    }
    if (!mProbe.Exists(diskPath))
    {
        LogError("%s: Missing %s file: %s", mSignature, isManaged ? "managed" : "naked", diskPath);
        return false;
    }
    return true;
}

// Gives what GetNakedFile gives: the directory that it gave last and the path, where both fit, and the path does not
// begin at the root of the disk.
const char *PlainFileFinder::MakeDiskPath(DiskPaths::FileType type, MorvVersion fileVersion, const std::string &path)
{
    const bool isBelow = !path.empty() && path.front() != '/';
    const bool isKnown = mDirectoryLength != 0 && type == mType && fileVersion == mFileVersion;
    if (isBelow && isKnown && mDirectoryLength + path.size() < PathBufferSize)
    {
        mDiskPath.resize(mDirectoryLength);
        return mDiskPath.append(path).c_str();
    }
    mDirectoryLength = 0;
    char diskPath[PathBufferSize];
    if (!DiskPaths::GetNakedFile(diskPath, sizeof diskPath, type, mProjectRoot, mReleaseVersion, fileVersion,
                                 path.c_str()))
    {
        return nullptr;
    }
    mType = type;
    mFileVersion = fileVersion;
    mDiskPath = diskPath;
    mDirectoryLength = isBelow ? mDiskPath.size() - path.size() : 0;
    return mDiskPath.c_str();
}
} // namespace Keld::MORV::Reader
