#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"
#include "KeldFoundation/version/MorvVersion.h"
#include "KeldMorvIO/blocks/AsyncFile.h"

namespace Keld::MORV::Reader
{
/// Every place on disk that the listing layer touches, made from a deployment root, a project's name, two versions and
/// a name. ProjectListing gives these members on as its own. They keep no state; any thread may call.
class DiskPaths
{
public:
    /// The directory tree of a project that a file lies in.
    enum FileType : uint32
    {
        FileTypeArchive = 0, ///< filearchives/<file version>/<data file>
        FileTypeManaged = 1, ///< managedfiles/<file version>/<virtual path>
        FileTypeDeploy = 2   ///< releases/<release version>/deploy/<virtual path>
    };

    /// Joins `<root>/projects/<project>`. A null or empty root gives a relative path. False, logged, if it does not
    /// fit.
    static bool GetProjectRoot(char *buffer, uint32 size, const char *root, const char *project);

    /// Makes the disk path of a file of the given type: see `FileType`. The version that the type does not use may be
    /// anything. False if it does not fit, logged, and for an unknown type.
    static bool GetNakedFile(char *buffer, uint32 size, FileType type, const char *projectRoot,
                             MorvVersion releaseVersion, MorvVersion fileVersion, const char *name);
    static bool GetNakedFile(char *buffer, uint32 size, FileType type, const char *root, const char *project,
                             MorvVersion releaseVersion, MorvVersion fileVersion, const char *name);

    /// Both without a word in the log, for whoever tells in his own.
    static bool JoinProjectRoot(char *buffer, uint32 size, const char *root, const char *project);
    static bool JoinNakedFile(char *buffer, uint32 size, FileType type, const char *projectRoot,
                              MorvVersion releaseVersion, MorvVersion fileVersion, const char *name);

    /// Opens a managed or naked file. Null, logged, if that fails; null without a line for FileTypeArchive.
    static AsyncFile OpenNakedFile(FileType type, const char *projectRoot, MorvVersion releaseVersion,
                                   MorvVersion fileVersion, const char *name);
    static AsyncFile OpenNakedFile(FileType type, const char *root, const char *project, MorvVersion releaseVersion,
                                   MorvVersion fileVersion, const char *name);
};
} // namespace Keld::MORV::Reader
