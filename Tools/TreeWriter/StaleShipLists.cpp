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
class StaleShipLists
{
public:
    StaleShipLists(const TreeReader::TreePlaces &places, const std::string &project, MorvVersion release, bool sync)
        : mPlaces(places), mProject(project), mRelease(release), mSync(sync)
    {
    }

    std::vector<std::string> Remove()
    {
        const TreeReader::Tree tree(mPlaces.GetRoot().string());
        TreeReader::Tree::Doubts doubts;
        const auto solutions = tree.ListSolutions(&doubts);
        if (!solutions)
        {
            Doubt("the solutions there", solutions.GetFault());
            return std::move(mNotes);
        }
        for (const std::string &solution : *solutions)
        {
            const auto versions = tree.ListSolutionReleases(solution, &doubts);
            if (!versions)
            {
                Doubt("the solution " + solution, versions.GetFault());
                continue;
            }
            for (const MorvVersion version : *versions)
            {
                RemoveOf(solution + " " + FormatVersion(version), mPlaces.Solution(solution, version));
            }
        }
        for (const TreeReader::Fault &doubt : doubts)
        {
            Doubt("a solution there", doubt);
        }
        return std::move(mNotes);
    }

private:
    void RemoveOf(const std::string &name, const fs::path &directory)
    {
        const fs::path list = directory / TreeReader::ShipListName;
        std::error_code error;
        if (!fs::exists(list, error))
        {
            return;
        }
        const auto used = TreeReader::ReadSolutionProjects(directory.string());
        if (!used)
        {
            Doubt("the solution " + name, used.GetFault());
            return;
        }
        const bool isUsed = std::any_of(used->projects.begin(), used->projects.end(),
                                        [this](const auto &one)
                                        {
                                            return one.name == mProject && one.version == mRelease;
                                        });
        if (!isUsed)
        {
            return;
        }
        fs::remove(directory / TreeReader::ShipListSignatureName); // never a list that a signature is not over
        fs::remove(list);
        if (mSync)
        {
            SyncDirectory(directory);
        }
        mNotes.push_back("removed the shiplist of the solution " + name +
                         ", which told of the release before: publish it again");
    }

    void Doubt(const std::string &whose, const TreeReader::Fault &fault)
    {
        mNotes.push_back("whether a shiplist of " + whose + " tells of the release before cannot be told: " +
                         fault.GetMessage() + ". What uses the release has to be published again");
    }

    const TreeReader::TreePlaces &mPlaces;
    const std::string &mProject;
    const MorvVersion mRelease;
    const bool mSync;
    std::vector<std::string> mNotes;
};
} // namespace

std::vector<std::string> RemoveStaleShipLists(const TreeReader::TreePlaces &tree, const std::string &project,
                                              MorvVersion release, bool sync)
{
    return StaleShipLists(tree, project, release, sync).Remove();
}
} // namespace Keld::TreeWriter
