#include "Tools/TreeReader/TreePlaces.h"

#include "KeldMorvIO/TreeWords.h"

namespace Keld::TreeReader
{
namespace fs = std::filesystem;
using namespace MORV::Reader;

fs::path TreePlaces::Project(std::string_view project) const
{
    return mRoot / ProjectsDirectory / project;
}

fs::path TreePlaces::Release(std::string_view project, MorvVersion release) const
{
    return Project(project) / ReleasesDirectory / FormatVersion(release);
}

fs::path TreePlaces::ReleaseManifest(std::string_view project, MorvVersion release) const
{
    return Release(project, release) / ReleaseManifestName;
}

fs::path TreePlaces::NakedFiles(std::string_view project, MorvVersion release) const
{
    return Release(project, release) / DeployDirectory;
}

fs::path TreePlaces::ManagedFiles(std::string_view project, MorvVersion version) const
{
    return Project(project) / ManagedFilesDirectory / FormatVersion(version);
}

fs::path TreePlaces::Archives(std::string_view project, MorvVersion version) const
{
    return Project(project) / FileArchivesDirectory / FormatVersion(version);
}

fs::path TreePlaces::Solution(std::string_view solution, MorvVersion release) const
{
    return mRoot / SolutionsDirectory / solution / ReleasesDirectory / FormatVersion(release);
}
} // namespace Keld::TreeReader
