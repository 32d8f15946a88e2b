#include "Tools/TreeWriter/Pruner.h"

#include "Tools/TreeReader/DirectoryVisit.h"
#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/ArrivalLeftovers.h"
#include "Tools/TreeWriter/DirectoryProtection.h"
#include "Tools/TreeWriter/DiskSync.h"
#include "Tools/TreeWriter/ReleaseStaging.h"
#include "Tools/TreeWriter/WriteLocks.h"

#include <cerrno>
#include <filesystem>
#include <set>
#include <system_error>

#include <unistd.h>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;

namespace
{
class Remover
{
public:
    Remover(const PrunePlan &plan, const PruneOptions &options) : mPlan(plan), mRoot(plan.root), mOptions(options) {}

    void Run()
    {
        for (const PrunePlan::Removal &removal : mPlan.releases)
        {
            Remove(removal.manifest);
        }
        SyncTouched();
        RemoveAll(mPlan.archives);
        RemoveAll(mPlan.managed);
        RemoveAll(mPlan.rest);
        RemoveEmptyDirectories();
        SyncTouched();
    }

private:
    void RemoveAll(const std::vector<PrunePlan::File> &files)
    {
        for (const PrunePlan::File &file : files)
        {
            Remove(file);
        }
    }

    void Remove(const PrunePlan::File &file)
    {
        mOptions.checkpoint();
        mOptions.step();
        const fs::path path = mRoot / file.path;
        Lift(path.parent_path());
        if (unlink(path.c_str()) != 0 && errno != ENOENT)
        {
            throw std::system_error(errno, std::generic_category(), "cannot remove " + path.string());
        }
        mTouched.insert(path.parent_path());
    }

    /// A protected directory stays so at the end, when something is left in it.
    void Lift(const fs::path &directory)
    {
        if (IsProtected(directory))
        {
            mLifted.push_back(std::make_unique<ProtectionLifted>(directory));
        }
    }

    /// Takes the directories of versions away that hold nothing any more, also those that a run left which ended early.
    void RemoveEmptyDirectories()
    {
        for (const std::string &directory : mPlan.directories)
        {
            AddDirectoriesBelow(mRoot / directory);
        }
        // The deepest come first.
        for (auto directory = mDirectories.rbegin(); directory != mDirectories.rend(); ++directory)
        {
            RemoveIfEmpty(*directory);
        }
    }

    void AddDirectoriesBelow(const fs::path &directory)
    {
        mDirectories.insert(directory);
        RequireNoDoubt(TreeReader::VisitTree(directory.string(),
                                             [this](const std::string &path, const struct stat &status)
                                             {
                                                 if (S_ISDIR(status.st_mode))
                                                 {
                                                     mDirectories.insert(path);
                                                 }
                                                 return true;
                                             }));
    }

    void RemoveIfEmpty(const fs::path &directory)
    {
        const auto names = TreeReader::ReadNames(directory);
        if (names && names->empty())
        {
            mOptions.step();
            Lift(directory.parent_path());
            if (rmdir(directory.c_str()) == 0)
            {
                mTouched.insert(directory.parent_path());
            }
        }
    }

    void SyncTouched()
    {
        for (const fs::path &directory : mTouched)
        {
            std::error_code error;
            if (mOptions.sync && fs::is_directory(directory, error))
            {
                SyncDirectory(directory);
            }
        }
        mTouched.clear();
    }

    const PrunePlan &mPlan;
    const fs::path mRoot;
    const PruneOptions &mOptions;
    std::set<fs::path> mTouched; ///< directories in which names went and that are not brought to disk yet
    std::vector<std::unique_ptr<ProtectionLifted>> mLifted;
    std::set<fs::path> mDirectories; ///< that may hold nothing any more
};
} // namespace

PrunePlan Prune(const PruneRequest &request, const PruneOptions &options)
{
    const PrunePlan expected = PlanPrune(request);
    const WriteLocks locks(request.root, expected.projects, expected.solutions, options.checkpoint);
    for (const std::string &project : expected.projects)
    {
        options.step();
        RemoveLeftovers(TreeReader::TreePlaces(request.root), project, options.sync);
    }
    options.step();
    RemoveArrivalLeftovers(request.root);
    PrunePlan plan = PlanPrune(request);
    if (plan.projects != expected.projects || plan.solutions != expected.solutions)
    {
        throw TreeReader::TreeError("the tree was changed meanwhile, and nothing was removed: try again");
    }
    Remover(plan, options).Run();
    plan.leftovers = expected.leftovers;
    return plan;
}
} // namespace Keld::TreeWriter
