#include "Tools/morv/ExtractPlan.h"

#include "Tools/morv/EntryText.h"
#include "Tools/morv/Terminal.h"

#include "KeldFoundation/CStd/PathLimit.h"
#include "Tools/TreeReader/TreeText.h"

#include <algorithm>
#include <cstring>
#include <optional>
#include <unordered_map>
#include <unordered_set>

namespace Keld::Morv
{
using Common::GlobSelection;
using TreeReader::EntryIndex;
using TreeReader::EntryRange;
using TreeReader::Hit;
using TreeReader::ManifestTree;
using TreeReader::Release;
using TreeReader::RootEntry;
using TreeReader::View;

namespace
{
constexpr uint32 TargetItself = 0;

constexpr const char *InTreeKind = "in-the-tree";
constexpr const char *InTreeText = "would be written into the tree that is read";

/// Where a virtual directory's files go, or why they go nowhere.
struct Place
{
    uint32 directory = TargetItself;
    std::string refusal = {};
    const char *kind = "file-in-the-way"; ///< of the refusal
};

std::string ParentOf(const std::string &path)
{
    const std::size_t cut = path.rfind('/');
    return cut == std::string::npos ? "" : path.substr(0, cut);
}

std::string NameIn(const std::string &path)
{
    return path.substr(path.rfind('/') + 1);
}

std::size_t CountNames(const std::string &path)
{
    return path.empty() ? 0 : static_cast<std::size_t>(std::count(path.begin(), path.end(), '/')) + 1;
}

std::string Join(const std::string &directory, const std::string &name)
{
    return directory.empty() ? name : directory + "/" + name;
}

/// What is hostile in a path, or nothing. A manifest's strings end at a NUL, so that no name holds one.
std::string FindHostility(const std::string &path)
{
    if (path.starts_with('/'))
    {
        return "is an absolute path, and leads out of the release";
    }
    for (std::size_t begin = 0; begin <= path.size();)
    {
        const std::size_t end = std::min(path.find('/', begin), path.size());
        const std::string name = path.substr(begin, end - begin);
        if (name.empty())
        {
            return "has an empty name in its path";
        }
        if (name == "." || name == "..")
        {
            return "has the name \"" + name + "\" in its path, which leads elsewhere";
        }
        begin = end + 1;
    }
    return path.size() >= PathBufferSize
               ? "has a path of " + std::to_string(PathBufferSize) + " bytes or more, which no program can ask for"
               : "";
}

class Planner
{
public:
    Planner(const View &view, const GlobSelection &selection, uint32 strip, const std::string &treeInTarget)
        : mView(view), mSelection(selection), mStrip(strip), mTreeInTarget(TreeReader::FoldPath(treeInTarget))
    {
        mPlan.directories.emplace_back();
    }

    ExtractPlan Make()
    {
        for (uint32 layer = 0; layer < mView.GetLayers().size(); ++layer)
        {
            PlanLayer(layer);
        }
        return std::move(mPlan);
    }

private:
    void PlanLayer(uint32 layer)
    {
        const ManifestTree &tree = mView.GetRelease(layer).GetTree();
        std::vector<bool> taken(tree.GetDirectoryCount());
        for (const EntryIndex directory : tree.GetDirectoriesByLevel())
        {
            const std::string path = tree.GetPath(directory);
            const bool isRoot = directory == RootEntry;
            const bool isTaken = isRoot ? mSelection.TakesAll() : mSelection.TakesItself(path, true);
            taken[directory] = isTaken || (!isRoot && taken[tree.GetParent(directory)]);
            if (taken[directory] && !isRoot && FindHostility(path).empty())
            {
                PlaceOf(path); // so that it is made, be it empty
            }
            PlanFiles(layer, directory, path, taken[directory]);
        }
    }

    void PlanFiles(uint32 layer, EntryIndex directory, const std::string &directoryPath, bool isTaken)
    {
        const ManifestTree &tree = mView.GetRelease(layer).GetTree();
        const EntryRange files = tree.GetFiles(directory);
        for (EntryIndex file = files.first; file < files.first + files.count; ++file)
        {
            // Many files may share one huge name.
            const char *name = tree.GetName(file);
            const std::string path =
                (directory == RootEntry ? "" : directoryPath + "/") + std::string(name, strnlen(name, PathBufferSize));
            const bool takesItself = mSelection.TakesItself(path, false);
            if (isTaken || takesItself)
            {
                PlanFile({layer, file}, path);
            }
        }
    }

    void PlanFile(const Hit &hit, const std::string &path)
    {
        const std::string hostility = FindHostility(path);
        if (!hostility.empty())
        {
            Refuse(path, "hostile-name", hostility);
            return;
        }
        const Hit winner = mView.Find(path);
        if (winner && winner.layer < hit.layer)
        {
            return; // a project that comes earlier hides the file, whether it is there or not
        }
        if (!mView.GetRelease(hit.layer).IsPresent(hit.entry))
        {
            const TreeReader::Fault fault = mView.ExplainMissing(hit);
            Refuse(path, TreeReader::NameOf(fault.kind), "is missing: " + fault.GetMessage());
        }
        else if (winner.layer == hit.layer && winner.entry == hit.entry)
        {
            PlanWinner(hit, path);
        }
        else
        {
            Refuse(path, "twin",
                   winner ? "its manifest lists \"" + mView.GetPath(winner) +
                                "\" too, which is the same path, and that one is served"
                          : "no program can ask for it by its path");
        }
    }

    void PlanWinner(const Hit &hit, const std::string &path)
    {
        if (CountNames(path) <= mStrip)
        {
            ++mPlan.withoutName;
            return;
        }
        const Place place = PlaceOf(ParentOf(path));
        if (!place.refusal.empty())
        {
            Refuse(path, place.kind, place.refusal);
            return;
        }
        const std::string target = Join(mPlan.directories[place.directory], NameIn(path));
        const std::string folded = TreeReader::FoldPath(target);
        if (FallsIntoTree(folded))
        {
            Refuse(path, InTreeKind, InTreeText);
            return;
        }
        if (!mTaken.insert(folded).second)
        {
            Refuse(path, "twin", "\"" + target + "\" is taken by another path, be it in other case");
            return;
        }
        mPlan.files.push_back({hit, place.directory, NameIn(path)});
        mPlan.bytes += mView.GetRelease(hit.layer).GetTree().GetFields(hit.entry).size;
    }

    Place PlaceOf(const std::string &directory)
    {
        if (CountNames(directory) <= mStrip)
        {
            return {};
        }
        const auto [known, isNew] = mPlaces.try_emplace(TreeReader::FoldPath(directory));
        if (isNew)
        {
            const Place place = MakePlace(directory);
            mPlaces[TreeReader::FoldPath(directory)] = place;
            return place;
        }
        return known->second;
    }

    Place MakePlace(const std::string &directory)
    {
        const Hit hit = mView.Find(directory);
        if (hit && !mView.IsDirectory(hit))
        {
            return {0, "\"" + mView.GetPath(hit) + "\" is a file, of " + LayerText(mView.GetLayers()[hit.layer]) +
                           ", where its directory should be"};
        }
        Place parent = PlaceOf(ParentOf(directory));
        if (!parent.refusal.empty())
        {
            return parent;
        }
        const std::string target =
            Join(mPlan.directories[parent.directory], NameIn(hit ? mView.GetPath(hit) : directory));
        const std::string folded = TreeReader::FoldPath(target);
        if (FallsIntoTree(folded))
        {
            return {0, InTreeText, InTreeKind};
        }
        const auto known = mTargets.find(folded);
        if (known != mTargets.end())
        {
            return {known->second, ""};
        }
        if (!mTaken.insert(folded).second)
        {
            return {0, "\"" + target + "\" is taken by a file, be it in other case"};
        }
        const auto index = static_cast<uint32>(mPlan.directories.size());
        mTargets.emplace(folded, index);
        mPlan.directories.push_back(target);
        return {index, ""};
    }

    /// Without regard to case: some disks have none.
    bool FallsIntoTree(const std::string &foldedTarget) const
    {
        return !mTreeInTarget.empty() && (foldedTarget + "/").starts_with(mTreeInTarget + "/");
    }

    void Refuse(const std::string &path, const std::string &kind, const std::string &reason)
    {
        mPlan.refused.push_back({path.substr(0, PathBufferSize), kind, reason});
    }

    const View &mView;
    const GlobSelection &mSelection;
    const uint32 mStrip;
    const std::string mTreeInTarget; ///< folded
    ExtractPlan mPlan;
    std::unordered_map<std::string, Place> mPlaces;   ///< by the virtual directory, folded
    std::unordered_map<std::string, uint32> mTargets; ///< the planned directories, by their folded paths
    std::unordered_set<std::string> mTaken;           ///< folded paths of all that is planned
};
} // namespace

ExtractPlan PlanExtraction(const View &view, const GlobSelection &selection, uint32 strip,
                           const std::string &treeInTarget)
{
    return Planner(view, selection, strip, treeInTarget).Make();
}
} // namespace Keld::Morv
