#include "Tools/TreeReader/View.h"

#include "Tools/TreeReader/SolutionProjects.h"

#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldFoundation/path/Path.h"

namespace Keld::TreeReader
{
using MORV::Reader::SolutionManifest;

namespace
{
std::string StripPrefix(std::string path)
{
    while (path.starts_with("./") || path.starts_with('/'))
    {
        path.erase(0, path.find('/') + 1);
    }
    return path == "." ? "" : path;
}
} // namespace

std::string ReleaseName::GetText() const
{
    return (isSolution ? "solution " : "") + name + " " + FormatVersion(version);
}

Result<View> View::Open(Tree &tree, const ReleaseName &name)
{
    View view;
    view.mName = name;
    const Failure failure = name.isSolution ? view.AddSolution(tree) : view.AddLayer(tree, name.name, name.version, 0);
    if (failure)
    {
        return *failure;
    }
    return view;
}

Failure View::AddLayer(Tree &tree, const std::string &project, MorvVersion version, uint32 priority)
{
    Result<std::shared_ptr<const Release>> release = tree.OpenRelease(project, version);
    if (!release)
    {
        return release.GetFault();
    }
    const Release &opened = **release;
    if (opened.GetProject() != project || opened.GetVersion() != version)
    {
        mNotes.push_back(opened.GetDirectory() + ": its manifest is that of " + opened.GetProject() + " " +
                         FormatVersion(opened.GetVersion()) +
                         ", and files are served from there: the directory was renamed or copied");
    }
    mLayers.push_back({std::move(*release), project, version, priority});
    return std::nullopt;
}

Failure View::AddSolution(Tree &tree)
{
    const std::string directory = tree.GetSolutionDirectory(mName.name, mName.version);
    if (directory.empty())
    {
        return Fault{FaultKind::PathTooLong, tree.GetRoot(),
                     "the path of " + mName.GetText() + " is too long for the library: 1,024 bytes or more"};
    }
    const auto solution = ReadSolutionProjects(directory);
    if (!solution)
    {
        return solution.GetFault();
    }
    mConfiguration = solution->configuration;
    for (const SolutionManifest::PROJECT &project : solution->projects)
    {
        if (Failure failure = AddLayer(tree, project.name, project.version, project.priority))
        {
            return failure;
        }
    }
    NoteEqualPriorities();
    return std::nullopt;
}

void View::NoteEqualPriorities()
{
    for (uint_size index = 1; index < mLayers.size(); ++index)
    {
        const Layer &first = mLayers[index - 1];
        const Layer &second = mLayers[index];
        if (first.priority == second.priority)
        {
            mNotes.push_back(first.project + " and " + second.project + " have the same priority, " +
                             std::to_string(first.priority) + ": " + first.project + " wins, by its name");
        }
    }
}

Failure View::CheckServable() const
{
    if (mLayers.empty())
    {
        return Fault{FaultKind::BadSolution, mName.GetText(),
                     "its configuration uses no project: write it again with \"morv solution --use\""};
    }
    for (const Layer &layer : mLayers)
    {
        const Release &release = *layer.release;
        if (release.HasAnyFile())
        {
            continue;
        }
        if (release.GetTree().GetFileCount() == 0)
        {
            return Fault{FaultKind::BadManifest, release.GetDirectory(), "lists no file, and the library needs one"};
        }
        const Fault first = release.ExplainMissing(release.GetTree().GetFileEntry(0));
        return Fault{FaultKind::NotThere, release.GetDirectory(),
                     "not one of its files is there, and the library serves nothing: " + first.GetMessage()};
    }
    return std::nullopt;
}

Hit View::Find(const std::string &path) const
{
    for (uint32 layer = 0; layer < mLayers.size(); ++layer)
    {
        const EntryIndex entry = GetRelease(layer).Find(path);
        if (entry != NoEntry)
        {
            return {layer, entry};
        }
    }
    return {};
}

std::vector<Hit> View::FindAll(const std::string &path) const
{
    std::vector<Hit> hits;
    for (uint32 layer = 0; layer < mLayers.size(); ++layer)
    {
        const EntryIndex entry = GetRelease(layer).Find(path);
        if (entry != NoEntry)
        {
            hits.push_back({layer, entry});
        }
    }
    return hits;
}

std::vector<Hit> View::FindMissing(const std::string &path) const
{
    std::vector<Hit> hits;
    for (uint32 layer = 0; layer < mLayers.size(); ++layer)
    {
        const Release &release = GetRelease(layer);
        for (const EntryIndex entry : release.FindListed(path))
        {
            if (!release.GetTree().IsDirectory(entry) && !release.IsPresent(entry))
            {
                hits.push_back({layer, entry});
            }
        }
    }
    return hits;
}

std::unique_ptr<ViewIterator> View::Enumerate(const std::string &directory) const
{
    ViewIterator::DirectoryIterators iterators;
    for (uint32 layer = 0; layer < mLayers.size(); ++layer)
    {
        const Release &release = GetRelease(layer);
        const EntryIndex entry = release.Find(directory);
        if (entry != NoEntry && release.GetTree().IsDirectory(entry))
        {
            iterators.push_back(std::make_unique<LayerIterator>(release, layer, entry));
        }
    }
    return iterators.empty() ? nullptr : std::make_unique<ViewIterator>(std::move(iterators));
}

TypedPath View::ResolveTyped(const std::string &typed) const
{
    char canonical[PathBufferSize];
    if (!CanonicalizePathBounded(typed.c_str(), canonical, sizeof canonical, 1))
    {
        return {typed, ""};
    }
    const std::string stripped = StripPrefix(canonical);
    if (stripped == canonical || stripped.empty() || Find(canonical))
    {
        return {stripped.empty() ? "" : std::string(canonical), ""};
    }
    return {stripped, typed + ": a program that loads the library must ask for \"" + stripped + "\""};
}
} // namespace Keld::TreeReader
