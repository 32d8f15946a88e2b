#pragma once

#include "Tools/TreeReader/VersionArchives.h"

#include "KeldFoundation/version/MorvVersion.h"

#include <atomic>
#include <map>
#include <memory>
#include <mutex>
#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// The archives of one project, for all its releases: each version is read when somebody first asks for it, once. Any
/// thread may ask.
class ProjectArchives
{
public:
    /// \param projectRoot `<root>/projects/<project>`.
    explicit ProjectArchives(const std::string &projectRoot) : ProjectArchives(projectRoot, projectRoot) {}

    /// For a project whose name begins with a '/': the library puts it behind the root when it looks for indexes, and
    /// takes it for the whole path when it opens data files.
    ProjectArchives(std::string indexRoot, std::string dataRoot)
        : mIndexRoot(std::move(indexRoot)), mDataRoot(std::move(dataRoot))
    {
    }

    const VersionArchives &GetVersion(MorvVersion version) const;

private:
    struct Slot
    {
        explicit Slot(MorvVersion slotVersion) : version(slotVersion) {}

        const MorvVersion version;
        std::once_flag read;
        std::unique_ptr<const VersionArchives> archives;
    };

    const std::string mIndexRoot;
    const std::string mDataRoot;
    mutable std::mutex mMutex;                                      ///< guards mVersions, not what the slots hold
    mutable std::map<MorvVersion, std::unique_ptr<Slot>> mVersions; ///< a slot stays where it is
    mutable std::atomic<const Slot *> mLast{nullptr};               ///< asked for last, and read
};
} // namespace Keld::TreeReader
