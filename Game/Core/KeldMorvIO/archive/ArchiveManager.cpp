#include "KeldMorvIO/archive/ArchiveManager.h"

#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/TreeWords.h"

#include <memory>

namespace Keld::MORV::Reader
{
ArchiveManager::ArchiveManager() = default;

ArchiveManager::~ArchiveManager()
{
    for (const auto &[project, versions] : mProjects)
    {
        for (const auto &[version, manager] : *versions)
        {
            delete manager;
        }
        delete versions;
    }
}

const ArchiveVersionManager *ArchiveManager::GetVersionManager(const std::string &root, const std::string &project,
                                                               const MorvVersion version)
{
    constexpr const char *signature =
        "const Keld::MORV::Reader::ArchiveVersionManager *Keld::MORV::Reader::ArchiveManager::GetVersionManager("
        "const std::string &, const std::string &, const MorvVersion)";
    const MutexLock lock(mMutex);
    const ArchiveVersionManager *const known = FindVersionManager(project, version);
    if (known != nullptr)
    {
        return known;
    }
    const std::string versionText = FormatVersion(version);

    // Joined as it stands: a root that ends in a separator gives a doubled one, an empty root an absolute path.
    const std::string directory =
        root + "/" + ProjectsDirectory + "/" + project + "/" + FileArchivesDirectory + "/" + versionText;
    std::unique_ptr<const ArchiveVersionManager> created(ArchiveVersionManager::Create(directory));
    if (created == nullptr)
    {
        LogError("%s: Failed to create file system manager for project \"%s\" and release %s", signature,
                 project.c_str(), versionText.c_str());
        return nullptr;
    }
    Insert(project, version, created.get());
    return created.release();
}

const ArchiveVersionManager *ArchiveManager::FindVersionManager(const std::string &project, MorvVersion version) const
{
    const auto versions = mProjects.find(project);
    if (versions == mProjects.end())
    {
        return nullptr;
    }
    const auto manager = versions->second->find(version);
    return manager != versions->second->end() ? manager->second : nullptr;
}

void ArchiveManager::Insert(const std::string &project, MorvVersion version, const ArchiveVersionManager *manager)
{
    const auto known = mProjects.find(project);
    if (known != mProjects.end())
    {
        (*known->second)[version] = manager;
        return;
    }
    auto versions = std::make_unique<VersionMap>();
    (*versions)[version] = manager;
    mProjects[project] = versions.get();
    static_cast<void>(versions.release());
}
} // namespace Keld::MORV::Reader
