#include "KeldMorvIO/environment/SearchOrder.h"

#include "KeldMorvIO/environment/GatherProjects.h"

#include <algorithm>

namespace Keld::MORV::Reader
{
HRESULT GatherInSearchOrder(const ConfigurationManifest &configuration, const SolutionManifest &solution,
                            std::vector<SolutionManifest::PROJECT> &projects)
{
    const HRESULT result = GatherProjects(configuration, solution, projects);
    if (result < 0)
    {
        return result;
    }
    // Stable, so that equal priorities keep the order of names in which they were gathered.
    std::stable_sort(projects.begin(), projects.end(),
                     [](const SolutionManifest::PROJECT &left, const SolutionManifest::PROJECT &right)
                     {
                         return left.priority > right.priority;
                     });
    return result;
}
} // namespace Keld::MORV::Reader
