#include "Tools/TreeWriter/PrunePlan.h"

#include "Tools/TreeReader/Census.h"
#include "Tools/TreeReader/DataFiles.h"
#include "Tools/TreeReader/DirectoryVisit.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/ArrivalLeftovers.h"
#include "Tools/TreeWriter/KeptPlaces.h"
#include "Tools/TreeWriter/PrunedPlaces.h"
#include "Tools/TreeWriter/ReleaseStaging.h"
#include "Tools/TreeWriter/TreeNames.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>
#include <filesystem>
#include <optional>
#include <set>
#include <tuple>
#include <unordered_set>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using TreeReader::DataFile;
using TreeReader::ReleaseName;
using TreeReader::TreeError;
using TreeReader::View;

namespace
{
template <class Value>
Value Require(TreeReader::Result<Value> result)
{
    if (!result)
    {
        throw TreeError(result.GetFault().GetMessage());
    }
    return std::move(*result);
}

uint64 SizeOf(const std::vector<PrunePlan::File> &files)
{
    uint64 size = 0;
    for (const PrunePlan::File &file : files)
    {
        size += file.size;
    }
    return size;
}

class Planner
{
public:
    explicit Planner(const PruneRequest &request)
        : mRequest(request), mTree(request.root), mKept(request.root), mPruned(request.root)
    {
        mPlan.root = request.root;
    }

    PrunePlan Plan()
    {
        for (const ReleaseName &name : mRequest.keep)
        {
            Keep(name);
        }
        ChooseScope();
        KeepWhatStays();
        for (const std::string &solution : mSolutions)
        {
            PlanSolution(solution);
        }
        RequireWholeSolutions();
        for (const std::string &project : mProjects)
        {
            PlanProject(project);
        }
        for (const std::string &leftover : FindArrivalLeftovers(mRequest.root))
        {
            mPlan.leftovers.push_back(leftover);
        }
        mPlan.kept.assign(mKeptReleases.begin(), mKeptReleases.end());
        mPlan.kept.insert(mPlan.kept.end(), mKeptSolutions.begin(), mKeptSolutions.end());
        mPlan.projects.assign(mProjects.begin(), mProjects.end());
        mPlan.solutions.assign(mSolutions.begin(), mSolutions.end());
        return std::move(mPlan);
    }

private:
    /// Names in an order of their own, so that they can be kept in sets.
    struct NameOrder
    {
        bool operator()(const ReleaseName &left, const ReleaseName &right) const
        {
            return std::tie(left.isSolution, left.name, left.version) <
                   std::tie(right.isSolution, right.name, right.version);
        }
    };

    void Keep(const ReleaseName &name)
    {
        const View view = Require(View::Open(mTree, name));
        if (name.isSolution)
        {
            mKeptSolutions.insert(name);
            mSolutions.insert(name.name);
        }
        for (const TreeReader::Layer &layer : view.GetLayers())
        {
            RequireDirectoryName(name, layer.project);
            RequireDirectoryName(name, layer.release->GetProject());
            mKeptReleases.insert({false, layer.project, layer.version});
            mProjects.insert(layer.project);
        }
        const TreeReader::Census census = TreeReader::TakeCensus(view, mRequest.threadCount);
        if (census.missing > 0)
        {
            mPlan.notes.push_back(name.GetText() + " is kept, but is not whole: " + census.GetSummary());
        }
        mKept.AddParts(view, mRequest.threadCount);
    }

    /// What a manifest names must not lead to another tree.
    static void RequireDirectoryName(const ReleaseName &kept, const std::string &project)
    {
        if (!IsDirectoryName(project))
        {
            throw TreeError(kept.GetText() + " is to be kept, but a manifest of it names the project \"" + project +
                            "\", which is no directory name");
        }
    }

    void ChooseScope()
    {
        const std::vector<std::string> projects = Require(mTree.ListProjects());
        const std::vector<std::string> solutions = Require(mTree.ListSolutions());
        if (mRequest.everything)
        {
            mProjects.insert(projects.begin(), projects.end());
            mSolutions.insert(solutions.begin(), solutions.end());
            return;
        }
        for (const std::string &project : projects)
        {
            if (mProjects.count(project) == 0)
            {
                mPlan.notes.push_back("project " + project +
                                      " is left alone: nothing of it is kept; --everything "
                                      "removes it");
            }
        }
    }

    /// A release in a project that is left alone may still be served from one that is pruned: its directory was copied
    /// or renamed, so that its manifest names the other, or a link leads there. A project that is nothing but a link to
    /// one that is pruned has no releases of its own.
    void KeepWhatStays()
    {
        for (const std::string &project : mProjects)
        {
            mPruned.AddProject(project);
        }
        for (const std::string &project : Require(mTree.ListProjects()))
        {
            const std::string releases = mRequest.root + "/" + ReleasesOf(false, project);
            const bool isOtherName = mPruned.Hold(releases) && SettlePath(releases) != releases;
            if (mProjects.count(project) != 0 || isOtherName)
            {
                continue;
            }
            for (const MorvVersion version : Require(mTree.ListReleases(project)))
            {
                TreeReader::Tree tree(mRequest.root); // of its own: not all manifests are to be held at once
                const std::optional<View> view = OpenStaying(tree, {false, project, version});
                if (view && mPruned.Serve(*view))
                {
                    mKept.AddParts(*view, mRequest.threadCount);
                }
            }
        }
    }

    /// Nothing, and a note, for what nobody can start.
    std::optional<View> OpenStaying(TreeReader::Tree &tree, const ReleaseName &name)
    {
        TreeReader::Result<View> view = View::Open(tree, name);
        if (view)
        {
            return std::move(*view);
        }
        if (TreeReader::IsDoubt(view.GetFault().kind))
        {
            throw TreeError(name.GetText() +
                            " stays, but what it needs cannot be told: " + view.GetFault().GetMessage());
        }
        mPlan.notes.push_back(name.GetText() + " cannot be started as it is, and was not asked what it needs: " +
                              view.GetFault().GetMessage());
        return std::nullopt;
    }

    /// Also directories without a manifest: a run that ended early leaves such.
    void PlanSolution(const std::string &solution)
    {
        for (const std::string &directory : ListUnkept(ReleasesOf(true, solution)))
        {
            ReleaseName name{true, solution, 0};
            ParseVersion(fs::path(directory).filename().c_str(), &name.version);
            AddSolution(name, mRequest.root + "/" + directory);
        }
    }

    /// The directories of versions in a directory, all below the root, but for those of kept releases. What lies in
    /// them may be removed until nothing is left.
    std::vector<std::string> ListUnkept(const std::string &place)
    {
        std::vector<std::string> directories;
        for (const std::string &version : TreeReader::ListVersionDirectories(mRequest.root + "/" + place))
        {
            if (std::string directory = place + "/" + version; !mKept.Holds(directory))
            {
                directories.push_back(std::move(directory));
            }
        }
        mPlan.directories.insert(mPlan.directories.end(), directories.begin(), directories.end());
        return directories;
    }

    /// The manifest, the configuration, and what programs left in the directory.
    void AddSolution(const ReleaseName &name, const std::string &directory)
    {
        std::error_code error;
        if (fs::is_regular_file(directory + "/" + MORV::Reader::SolutionManifestName, error))
        {
            AddRelease(name, directory, MORV::Reader::SolutionManifestName);
        }
        RequireNoDoubt(TreeReader::VisitTree(directory,
                                             [this](const std::string &found, const struct stat &status)
                                             {
                                                 const std::string path = BelowRoot(found);
                                                 if (S_ISREG(status.st_mode) && mManifests.count(path) == 0)
                                                 {
                                                     mPlan.rest.push_back({path, static_cast<uint64>(status.st_size)});
                                                 }
                                                 return true;
                                             }));
    }

    std::string BelowRoot(const std::string &path) const { return path.substr(mRequest.root.size() + 1); }

    void AddRelease(const ReleaseName &name, const std::string &directory, const char *manifest)
    {
        const std::string path = directory + "/" + manifest;
        std::error_code error;
        const uint64 size = fs::file_size(path, error);
        mPlan.releases.push_back({name, {BelowRoot(path), error ? 0 : size}});
        mManifests.insert(BelowRoot(path));
    }

    /// No solution that stays may lose a release.
    void RequireWholeSolutions()
    {
        for (const std::string &solution : Require(mTree.ListSolutions()))
        {
            for (const MorvVersion version : Require(mTree.ListSolutionReleases(solution)))
            {
                const bool stays = mSolutions.count(solution) == 0;
                if (stays)
                {
                    RequireWholeSolution({true, solution, version});
                }
            }
        }
    }

    void RequireWholeSolution(const ReleaseName &name)
    {
        const std::optional<View> view = OpenStaying(mTree, name);
        if (!view)
        {
            return;
        }
        for (const TreeReader::Layer &layer : view->GetLayers())
        {
            const ReleaseName needed{false, layer.project, layer.version};
            if (mPruned.Hold(layer.release->GetDirectory()) && !mKept.Holds(PathOf(needed)))
            {
                throw TreeError(name.GetText() + " uses " + needed.GetText() +
                                ", which would be removed: keep it with --keep solution:" + name.name + "/" +
                                FormatVersion(name.version) + ", or give it up with --everything");
            }
        }
    }

    void PlanProject(const std::string &project)
    {
        const std::string place = std::string(MORV::Reader::ProjectsDirectory) + "/" + project + "/";
        ListUnkept(place + MORV::Reader::FileArchivesDirectory);
        ListUnkept(place + MORV::Reader::ManagedFilesDirectory);
        const std::vector<std::string> unkept = ListUnkept(ReleasesOf(false, project));
        for (const MorvVersion version : Require(mTree.ListReleases(project)))
        {
            const ReleaseName name{false, project, version};
            if (std::find(unkept.begin(), unkept.end(), PathOf(name)) != unkept.end()) // no link
            {
                AddRelease(name, mTree.GetReleaseDirectory(project, version), MORV::Reader::ReleaseManifestName);
            }
        }
        const TreeReader::DataFiles files = Require(TreeReader::ListDataFiles(mRequest.root, project));
        AddUnneeded(files.archives, mPlan.archives);
        AddUnneeded(files.managed, mPlan.managed);
        for (const DataFile &file : files.releases)
        {
            const bool isKept = mKept.Holds(PathOf({false, project, file.version})) || mKept.Holds(file.path);
            if (!isKept && mManifests.count(file.path) == 0)
            {
                mPlan.rest.push_back({file.path, file.size});
            }
        }
        for (const std::string &leftover : FindLeftovers(TreeReader::TreePlaces(mRequest.root), project))
        {
            mPlan.leftovers.push_back(place + leftover);
        }
    }

    void AddUnneeded(const std::vector<DataFile> &files, std::vector<PrunePlan::File> &unneeded) const
    {
        for (const DataFile &file : files)
        {
            if (!mKept.Holds(file.path))
            {
                unneeded.push_back({file.path, file.size});
            }
        }
    }

    const PruneRequest &mRequest;
    TreeReader::Tree mTree;
    KeptPlaces mKept;
    PrunedPlaces mPruned;
    std::set<ReleaseName, NameOrder> mKeptReleases;
    std::set<ReleaseName, NameOrder> mKeptSolutions;
    std::set<std::string> mProjects;            ///< to be pruned
    std::set<std::string> mSolutions;           ///< to be pruned
    std::unordered_set<std::string> mManifests; ///< of the releases that go, by path below the root
    PrunePlan mPlan;
};
} // namespace

bool PrunePlan::IsEmpty() const
{
    return GetFileCount() == 0 && leftovers.empty();
}

uint64 PrunePlan::GetSize() const
{
    uint64 size = SizeOf(archives) + SizeOf(managed) + SizeOf(rest);
    for (const Removal &removal : releases)
    {
        size += removal.manifest.size;
    }
    return size;
}

uint64 PrunePlan::GetFileCount() const
{
    return releases.size() + archives.size() + managed.size() + rest.size();
}

PrunePlan PlanPrune(const PruneRequest &request)
{
    return Planner(request).Plan();
}
} // namespace Keld::TreeWriter
