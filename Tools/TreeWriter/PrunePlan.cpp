#include "Tools/TreeWriter/PrunePlan.h"

#include "Tools/TreeReader/Census.h"
#include "Tools/TreeReader/DataFiles.h"
#include "Tools/TreeReader/DirectoryVisit.h"
#include "Tools/TreeReader/ReleaseParts.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/ArrivalLeftovers.h"
#include "Tools/TreeWriter/ReleaseStaging.h"

#include "KeldMorvIO/TreeWords.h"

#include <filesystem>
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

/// The files on disk that must stay. Links count as what they lead to, so that nothing is taken from behind them.
class KeptFiles
{
public:
    explicit KeptFiles(const std::string &root) : mRoot(root) {}

    void Add(const std::string &path)
    {
        mPaths.insert(path);
        std::error_code error;
        const fs::path settled = fs::canonical(mRoot + "/" + path, error);
        const std::string text = settled.string();
        if (!error && text.starts_with(mRoot + "/"))
        {
            mPaths.insert(text.substr(mRoot.size() + 1));
        }
    }

    bool Holds(const std::string &path) const { return mPaths.count(path) != 0; }

private:
    const std::string &mRoot;
    std::unordered_set<std::string> mPaths; ///< below the root
};

class Planner
{
public:
    explicit Planner(const PruneRequest &request) : mRequest(request), mTree(request.root), mKeptFiles(request.root)
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
            // A directory that was renamed serves files of the project that its manifest names.
            mKeptReleases.insert({false, layer.project, layer.version});
            mProjects.insert(layer.project);
            mProjects.insert(layer.release->GetProject());
            RequireReadableArchives(*layer.release);
        }
        const TreeReader::Census census = TreeReader::TakeCensus(view, mRequest.threadCount);
        if (census.missing > 0)
        {
            mPlan.notes.push_back(name.GetText() + " is kept, but is not whole: " + census.GetSummary());
        }
        const TreeReader::ReleaseParts gathered = GatherParts(view, mRequest.root, mRequest.threadCount);
        if (!gathered.doubts.empty())
        {
            throw TreeError(name.GetText() + " is to be kept, but what it needs cannot be told: " +
                            gathered.doubts.front().GetMessage());
        }
        for (const TreeReader::ReleasePart &part : gathered.parts)
        {
            mKeptFiles.Add(part.path);
        }
    }

    /// What an index that cannot be read holds, nobody knows.
    static void RequireReadableArchives(const TreeReader::Release &release)
    {
        for (const MorvVersion version : release.GetArchiveVersions())
        {
            const TreeReader::VersionArchives &archives = release.GetArchives(version);
            if (!archives.GetFaults().empty())
            {
                throw TreeError(
                    "release " + FormatVersion(release.GetVersion()) + " of " + release.GetProject() +
                    " is to be kept, but what it needs cannot be told: " + archives.GetFaults().front().GetMessage());
            }
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

    /// Also directories without a manifest: a run that ended early leaves such.
    void PlanSolution(const std::string &solution)
    {
        const std::string releases = mRequest.root + "/" + MORV::Reader::SolutionsDirectory + "/" + solution + "/" +
                                     MORV::Reader::ReleasesDirectory;
        for (const std::string &directory : TreeReader::ListVersionDirectories(releases))
        {
            ReleaseName name{true, solution, 0};
            ParseVersion(directory.c_str(), &name.version);
            if (mKeptSolutions.count(name) == 0)
            {
                AddSolution(name, releases + "/" + directory);
            }
        }
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
        const TreeReader::Result<View> view = View::Open(mTree, name);
        if (!view && TreeReader::IsDoubt(view.GetFault().kind))
        {
            throw TreeError(name.GetText() +
                            " stays, but what it needs cannot be told: " + view.GetFault().GetMessage());
        }
        if (!view)
        {
            mPlan.notes.push_back(name.GetText() + " cannot be started as it is, and was not asked what it needs: " +
                                  view.GetFault().GetMessage());
            return;
        }
        for (const TreeReader::Layer &layer : view->GetLayers())
        {
            const ReleaseName needed{false, layer.project, layer.version};
            if (mProjects.count(layer.project) != 0 && mKeptReleases.count(needed) == 0)
            {
                throw TreeError(name.GetText() + " uses " + needed.GetText() +
                                ", which would be removed: keep it with --keep solution:" + name.name + "/" +
                                FormatVersion(name.version) + ", or give it up with --everything");
            }
        }
    }

    void PlanProject(const std::string &project)
    {
        for (const MorvVersion version : Require(mTree.ListReleases(project)))
        {
            const ReleaseName name{false, project, version};
            if (mKeptReleases.count(name) == 0)
            {
                AddRelease(name, mTree.GetReleaseDirectory(project, version), MORV::Reader::ReleaseManifestName);
            }
        }
        const TreeReader::DataFiles files = Require(TreeReader::ListDataFiles(mRequest.root, project));
        AddUnneeded(files.archives, mPlan.archives);
        AddUnneeded(files.managed, mPlan.managed);
        for (const DataFile &file : files.releases)
        {
            const bool isKept = mKeptReleases.count({false, project, file.version}) != 0;
            if (!isKept && mManifests.count(file.path) == 0 && !mKeptFiles.Holds(file.path))
            {
                mPlan.rest.push_back({file.path, file.size});
            }
        }
        for (const std::string &leftover : FindLeftovers(TreeReader::TreePlaces(mRequest.root), project))
        {
            mPlan.leftovers.push_back(std::string(MORV::Reader::ProjectsDirectory) + "/" + project + "/" + leftover);
        }
    }

    void AddUnneeded(const std::vector<DataFile> &files, std::vector<PrunePlan::File> &unneeded) const
    {
        for (const DataFile &file : files)
        {
            if (!mKeptFiles.Holds(file.path))
            {
                unneeded.push_back({file.path, file.size});
            }
        }
    }

    const PruneRequest &mRequest;
    TreeReader::Tree mTree;
    KeptFiles mKeptFiles;
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
