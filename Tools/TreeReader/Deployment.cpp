#include "Tools/TreeReader/Deployment.h"

#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"

#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldFoundation/path/Path.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/environment/SearchOrder.h"
#include "KeldMorvIO/environment/WorkingDirectory.h"

#include <algorithm>

namespace Keld::TreeReader
{
namespace fs = std::filesystem;
using namespace MORV::Reader;

namespace
{
DeployedRelease LoadRelease(const TreePlaces &tree, const std::string &project, MorvVersion version)
{
    const fs::path manifest = tree.ReleaseManifest(project, version);
    std::error_code error;
    if (!fs::exists(manifest, error))
    {
        throw TreeError("there is no release " + FormatVersion(version) + " of the project " + project + ": " +
                        manifest.string() + " is missing");
    }
    DeployedRelease release;
    release.project = project;
    release.version = version;
    release.contents = ReadReleaseManifest(manifest);
    return release;
}

// The projects in use, in the order of the search.
std::vector<SolutionManifest::PROJECT> GatherSolution(const fs::path &release, std::string &configurationName)
{
    SolutionManifest solution;
    ConfigurationManifest configuration;
    std::vector<SolutionManifest::PROJECT> projects;
    const bool loaded = solution.Load((release / SolutionManifestName).string()) >= 0 &&
                        configuration.Load((release / ConfigurationManifestName).string()) >= 0 &&
                        GatherInSearchOrder(configuration, solution, projects) >= 0;
    if (!loaded)
    {
        throw TreeError("the solution release " + release.string() +
                        " has no usable manifests: write them with \"morv solution\"");
    }
    configurationName = configuration.GetName();
    return projects;
}

bool HoldsDirectory(const ReleaseContents &contents, const std::string &path)
{
    return path.empty() || std::any_of(contents.directories.begin(), contents.directories.end(),
                                       [&path](const std::string &other)
                                       {
                                           return EqualsIgnoringCase(path, other);
                                       });
}
} // namespace

Deployment ResolveDeployment(const std::string &workingDirectory)
{
    char path[PathBufferSize];
    auto type = RuntimeTypeProject;
    Deployment deployment;
    const bool resolved = CanonicalizePathBounded(workingDirectory.c_str(), path, sizeof path, 0) &&
                          GetProjectTypeNameAndVersion(path, type, deployment.name, deployment.version);
    if (!resolved)
    {
        throw TreeError(workingDirectory + " lies in no release: change to ROOT/MORV/projects/NAME/releases/VERSION or "
                                           "ROOT/MORV/solutions/NAME/releases/VERSION, or name it with -C");
    }
    deployment.root = GetMorvRootDirectory(path);
    deployment.isSolution = type == RuntimeTypeSolution;
    const TreePlaces tree(deployment.root);
    if (!deployment.isSolution)
    {
        deployment.releases.push_back(LoadRelease(tree, deployment.name, deployment.version));
        return deployment;
    }
    const fs::path solution = tree.Solution(deployment.name, deployment.version);
    for (const SolutionManifest::PROJECT &project : GatherSolution(solution, deployment.configuration))
    {
        deployment.releases.push_back(LoadRelease(tree, project.name, project.version));
        deployment.releases.back().priority = project.priority;
    }
    return deployment;
}

DeployedFile FindInDeployment(const Deployment &deployment, const std::string &path, const PresenceTest &isPresent)
{
    for (const DeployedRelease &release : deployment.releases)
    {
        for (const ReleaseFile &file : release.contents.files)
        {
            if (EqualsIgnoringCase(file.path, path) && isPresent(release, file))
            {
                return {&release, &file};
            }
        }
        if (HoldsDirectory(release.contents, path))
        {
            return {&release, nullptr};
        }
    }
    return {};
}
} // namespace Keld::TreeReader
