#pragma once

#include "KeldFoundation/sync/Mutex.h"
#include "KeldFoundation/version/MorvVersion.h"
#include "KeldMorvIO/archive/ArchiveVersionManager.h"

#include <map>
#include <string>

namespace Keld::MORV::Reader
{
/// Builds the version manager of each release once, for the short time in which one release manifest is resolved.
/// Serves one tree: the root is no part of the key.
class ArchiveManager
{
public:
    ArchiveManager();
    ~ArchiveManager();

    ArchiveManager(const ArchiveManager &) = delete;
    ArchiveManager &operator=(const ArchiveManager &) = delete;

    /// The archives of a release, or null. The result stays owned here. A failure is not kept: the next call for the
    /// same release tries again, and logs again. Any thread may call; one release is never built twice.
    const ArchiveVersionManager *GetVersionManager(const std::string &root, const std::string &project,
                                                   const MorvVersion version);

private:
    using VersionMap = std::map<MorvVersion, const ArchiveVersionManager *>;

    const ArchiveVersionManager *FindVersionManager(const std::string &project, MorvVersion version) const;
    void Insert(const std::string &project, MorvVersion version, const ArchiveVersionManager *manager);

    std::map<std::string, VersionMap *> mProjects; ///< both levels owned; guarded by mMutex
    Mutex mMutex;                                  ///< held through the building of a manager, file work included
};
} // namespace Keld::MORV::Reader
