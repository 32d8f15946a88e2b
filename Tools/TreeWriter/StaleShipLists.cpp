#include "Tools/TreeWriter/StaleShipLists.h"

#include "Tools/TreeReader/ShipListNames.h"
#include "Tools/TreeReader/SolutionProjects.h"
#include "Tools/TreeReader/Tree.h"
#include "Tools/TreeWriter/DiskSync.h"

#include <algorithm>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;

namespace
{
bool UsesRelease(const fs::path &solution, const std::string &project, MorvVersion release)
{
    const auto used = TreeReader::ReadSolutionProjects(solution.string());
    return used && std::any_of(used->projects.begin(), used->projects.end(),
                               [&](const auto &one)
                               {
                                   return one.name == project && one.version == release;
                               });
}
} // namespace

std::vector<std::string> RemoveStaleShipLists(const TreeReader::TreePlaces &tree, const std::string &project,
                                              MorvVersion release, bool sync)
{
    std::vector<std::string> removed;
    const TreeReader::Tree trees(tree.GetRoot().string());
    const auto solutions = trees.ListSolutions();
    for (const std::string &solution : solutions ? *solutions : std::vector<std::string>())
    {
        const auto versions = trees.ListSolutionReleases(solution);
        for (const MorvVersion version : versions ? *versions : std::vector<MorvVersion>())
        {
            const fs::path directory = tree.Solution(solution, version);
            const fs::path list = directory / TreeReader::ShipListName;
            std::error_code error;
            if (!fs::exists(list, error) || !UsesRelease(directory, project, release))
            {
                continue;
            }
            fs::remove(directory / TreeReader::ShipListSignatureName); // never a list that a signature is not over
            fs::remove(list);
            if (sync)
            {
                SyncDirectory(directory);
            }
            removed.push_back(solution + " " + FormatVersion(version));
        }
    }
    return removed;
}
} // namespace Keld::TreeWriter
