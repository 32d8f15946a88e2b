#include "KeldMorvIO/environment/GatherProjects.h"

#include "KeldMorvIO/ReaderLog.h"

#include <algorithm>

namespace Keld::MORV::Reader
{
HRESULT GatherProjects(const std::vector<std::string> &names, const SolutionManifest &solution,
                       std::vector<SolutionManifest::PROJECT> &projects)
{
    constexpr const char *signature =
        "HRESULT Keld::MORV::Reader::GatherProjects(const std::vector<std::string> &, const SolutionManifest &, "
        "std::vector<SolutionManifest::PROJECT> &)";
    const std::vector<SolutionManifest::PROJECT> known = solution.GetProjects();
    HRESULT result = S_OK;
    for (const std::string &name : names)
    {
        const auto range = std::equal_range(known.begin(), known.end(), name, ManifestNameOrder());
        if (range.first == range.second)
        {
            LogError("%s: Failed to find project %s", signature, name.c_str());
            result = E_FAIL;
            break;
        }
        projects.push_back(*range.first);
    }
    // Records of one name are copies of one record.
    std::sort(projects.begin(), projects.end(), ManifestNameOrder());
    return result;
}

HRESULT GatherProjects(const std::string &configuration, const SolutionManifest &solution,
                       std::vector<SolutionManifest::PROJECT> &projects)
{
    constexpr const char *signature =
        "HRESULT Keld::MORV::Reader::GatherProjects(const std::string &, const SolutionManifest &, "
        "std::vector<SolutionManifest::PROJECT> &)";
    const std::vector<SolutionManifest::CONFIGURATION> known = solution.GetConfigurations();
    const auto range = std::equal_range(known.begin(), known.end(), configuration, ManifestNameOrder());
    if (range.first == range.second)
    {
        LogError("%s: Failed to find configuration", signature);
        return E_FAIL;
    }
    const HRESULT result = GatherProjects(range.first->projects, solution, projects);
    if (result < 0)
    {
        LogError("%s: Failed to gather projects for configuration %s", signature, configuration.c_str());
    }
    return result;
}

HRESULT GatherProjects(const ConfigurationManifest &configuration, const SolutionManifest &solution,
                       std::vector<SolutionManifest::PROJECT> &projects)
{
    constexpr const char *signature =
        "HRESULT Keld::MORV::Reader::GatherProjects(const ConfigurationManifest &, const SolutionManifest &, "
        "std::vector<SolutionManifest::PROJECT> &)";
    const HRESULT result = GatherProjects(configuration.GetProjects(), solution, projects);
    if (result < 0)
    {
        LogError("%s: Failed to gather projects for user supplied project list", signature);
    }
    return result;
}
} // namespace Keld::MORV::Reader
