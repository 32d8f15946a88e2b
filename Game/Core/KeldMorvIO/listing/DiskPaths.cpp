#include "KeldMorvIO/listing/DiskPaths.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/path/Path.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/blocks/ReportedOpen.h"

namespace Keld::MORV::Reader
{
bool DiskPaths::JoinProjectRoot(char *buffer, uint32 size, const char *root, const char *project)
{
    return JoinPath(buffer, size, {root, ProjectsDirectory, project});
}

bool DiskPaths::JoinNakedFile(char *buffer, uint32 size, FileType type, const char *projectRoot,
                              MorvVersion releaseVersion, MorvVersion fileVersion, const char *name)
{
    const std::string version = FormatVersion(type == FileTypeDeploy ? releaseVersion : fileVersion);
    switch (type)
    {
    case FileTypeDeploy:
        return JoinPath(buffer, size, {projectRoot, ReleasesDirectory, version.c_str(), DeployDirectory, name});
    case FileTypeManaged:
        return JoinPath(buffer, size, {projectRoot, ManagedFilesDirectory, version.c_str(), name});
    case FileTypeArchive:
        return JoinPath(buffer, size, {projectRoot, FileArchivesDirectory, version.c_str(), name});
    }
    return false;
}

bool DiskPaths::GetProjectRoot(char *buffer, uint32 size, const char *root, const char *project)
{
    constexpr const char *signature =
        "static bool Keld::MORV::Reader::ProjectListing::GetProjectRoot(char *, uint32, const char *, const char *)";
    if (!JoinProjectRoot(buffer, size, root, project))
    {
        LogError("%s: The project path is too long: %s/projects/%s", signature, TextOrEmpty(root),
                 TextOrEmpty(project));
        return false;
    }
    return true;
}

bool DiskPaths::GetNakedFile(char *buffer, uint32 size, FileType type, const char *projectRoot,
                             MorvVersion releaseVersion, MorvVersion fileVersion, const char *name)
{
    constexpr const char *signature = "static bool Keld::MORV::Reader::ProjectListing::GetNakedFile(char *, uint32, "
                                      "FileType, const char *, MorvVersion, MorvVersion, const char *)";
    if (JoinNakedFile(buffer, size, type, projectRoot, releaseVersion, fileVersion, name))
    {
        return true;
    }
    const std::string version = FormatVersion(type == FileTypeDeploy ? releaseVersion : fileVersion);
    switch (type)
    {
    case FileTypeDeploy:
        LogError("%s: The path is too long: %s/releases/%s/deploy/%s", signature, TextOrEmpty(projectRoot),
                 version.c_str(), TextOrEmpty(name));
        break;
    case FileTypeManaged:
        LogError("%s: The path is too long: %s/managedfiles/%s/%s", signature, TextOrEmpty(projectRoot),
                 version.c_str(), TextOrEmpty(name));
        break;
    case FileTypeArchive:
        LogError("%s: The path is too long: %s/filearchives/%s/%s", signature, TextOrEmpty(projectRoot),
                 version.c_str(), TextOrEmpty(name));
        break;
    }
    return false;
}

bool DiskPaths::GetNakedFile(char *buffer, uint32 size, FileType type, const char *root, const char *project,
                             MorvVersion releaseVersion, MorvVersion fileVersion, const char *name)
{
    char projectRoot[PathBufferSize];
    return GetProjectRoot(projectRoot, sizeof projectRoot, root, project) &&
           GetNakedFile(buffer, size, type, projectRoot, releaseVersion, fileVersion, name);
}

AsyncFile DiskPaths::OpenNakedFile(FileType type, const char *projectRoot, MorvVersion releaseVersion,
                                   MorvVersion fileVersion, const char *name)
{
    constexpr const char *signature = "static AsyncFile Keld::MORV::Reader::ProjectListing::OpenNakedFile(FileType, "
                                      "const char *, MorvVersion, MorvVersion, const char *)";
    char path[PathBufferSize];
    if (type == FileTypeArchive ||
        !GetNakedFile(path, sizeof path, type, projectRoot, releaseVersion, fileVersion, name))
    {
        return AsyncFile::Null;
    }
    return OpenOrReport(signature, path);
}

AsyncFile DiskPaths::OpenNakedFile(FileType type, const char *root, const char *project, MorvVersion releaseVersion,
                                   MorvVersion fileVersion, const char *name)
{
    constexpr const char *signature = "static AsyncFile Keld::MORV::Reader::ProjectListing::OpenNakedFile(FileType, "
                                      "const char *, const char *, MorvVersion, MorvVersion, const char *)";
    char path[PathBufferSize];
    if (type == FileTypeArchive ||
        !GetNakedFile(path, sizeof path, type, root, project, releaseVersion, fileVersion, name))
    {
        return AsyncFile::Null;
    }
    return OpenOrReport(signature, path);
}
} // namespace Keld::MORV::Reader
