#include "Tools/TreeReader/TreeUsage.h"

#include "Tools/TreeReader/ReleaseParts.h"

#include <algorithm>
#include <unordered_map>

namespace Keld::TreeReader
{
namespace
{
class TreeMeasure
{
public:
    TreeMeasure(Tree &tree, unsigned threadCount) : mTree(tree), mThreadCount(threadCount) {}

    Result<TreeUsage> Measure()
    {
        const Result<std::vector<std::string>> projects = mTree.ListProjects();
        if (!projects)
        {
            return projects.GetFault();
        }
        for (const std::string &project : *projects)
        {
            if (const Failure failure = AddReleases(project))
            {
                return *failure;
            }
        }
        for (const std::string &project : *projects)
        {
            if (const Failure failure = FindDangling(project))
            {
                return *failure;
            }
        }
        GiveExclusive();
        return std::move(mUsage);
    }

private:
    struct Users
    {
        std::size_t first = 0; ///< of the releases
        uint64 count = 0;
        uint64 size = 0;
    };

    Failure AddReleases(const std::string &project)
    {
        const Result<std::vector<MorvVersion>> versions = mTree.ListReleases(project);
        if (!versions)
        {
            return versions.GetFault();
        }
        for (const MorvVersion version : *versions)
        {
            const ReleaseName name{false, project, version};
            const Result<View> view = View::Open(mTree, name);
            if (!view)
            {
                mUsage.faults.push_back(view.GetFault());
                continue;
            }
            AddRelease(name, *view);
        }
        return std::nullopt;
    }

    void AddRelease(const ReleaseName &name, const View &view)
    {
        const ReleaseParts gathered = GatherParts(view, mTree.GetRoot(), mThreadCount);
        mUsage.releases.push_back({name, gathered.parts.size(), SizeOf(gathered.parts), 0});
        for (const ReleasePart &part : gathered.parts)
        {
            Users &users = mUsers[part.path];
            users.first = users.count == 0 ? mUsage.releases.size() - 1 : users.first;
            users.size = part.size;
            ++users.count;
        }
    }

    Failure FindDangling(const std::string &project)
    {
        const Result<DataFiles> files = ListDataFiles(mTree.GetRoot(), project);
        if (!files)
        {
            return files.GetFault();
        }
        for (const std::vector<DataFile> *kind : {&files->archives, &files->managed, &files->releases})
        {
            for (const DataFile &file : *kind)
            {
                mUsage.totalBytes += file.size;
                if (mUsers.count(file.path) == 0)
                {
                    mUsage.dangling.push_back(file);
                }
            }
        }
        return std::nullopt;
    }

    void GiveExclusive()
    {
        for (const auto &[path, users] : mUsers)
        {
            if (users.count == 1)
            {
                mUsage.releases[users.first].exclusiveBytes += users.size;
            }
        }
    }

    Tree &mTree;
    const unsigned mThreadCount;
    TreeUsage mUsage;
    std::unordered_map<std::string, Users> mUsers; ///< by path below the root
};
} // namespace

Result<TreeUsage> MeasureTree(Tree &tree, unsigned threadCount)
{
    return TreeMeasure(tree, threadCount).Measure();
}
} // namespace Keld::TreeReader
