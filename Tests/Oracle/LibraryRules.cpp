#include "Oracle/LibraryRules.h"

#include "Oracle/PathRules.h"
#include "Oracle/SolutionRules.h"

#include <algorithm>

namespace Keld::Test::Oracle
{
namespace
{
// What a working directory tells of itself.
struct ReleasePath
{
    std::string root;
    bool isProject = false;
    std::string name;
    std::string version;
};

std::optional<ReleasePath> ReadReleasePath(const std::string &directory)
{
    const std::string path = CanonicalPath(directory, false);
    if (path.size() > 1023)
    {
        return std::nullopt;
    }
    const std::size_t root = path.rfind("MORV/");
    const std::string projects = "projects/";
    const std::string solutions = "solutions/";
    const bool isProject = path.rfind(projects) != std::string::npos;
    const std::size_t keyword = path.rfind(isProject ? projects : solutions);
    if (keyword == std::string::npos)
    {
        return std::nullopt;
    }
    const std::string rest = path.substr(keyword + (isProject ? projects : solutions).size());
    const std::string releases = "releases/";
    const std::size_t nameEnd = rest.find('/');
    const std::size_t release = rest.find(releases);
    if (nameEnd == std::string::npos || nameEnd == 0 || release == std::string::npos)
    {
        return std::nullopt;
    }
    const std::size_t start = release + releases.size();
    const std::string text = rest.substr(start, std::min(rest.find('/', start), rest.size()) - start);
    const std::optional<std::uint32_t> version = text.empty() ? std::nullopt : ParsedVersion(text);
    if (!version)
    {
        return std::nullopt;
    }
    return ReleasePath{root == std::string::npos ? path : path.substr(0, root + 4), isProject, rest.substr(0, nameEnd),
                       VersionText(*version)};
}
} // namespace

bool LibraryRules::Initialize(const std::string &directory)
{
    if (mIsStarted)
    {
        return false;
    }
    mIsStarted = Load(directory);
    return mIsStarted;
}

void LibraryRules::Shutdown()
{
    mIsStarted = false;
    mListings.clear();
}

bool LibraryRules::StartIfNeeded()
{
    return mIsStarted || Initialize(mWorkingDirectory);
}

// A project that cannot be loaded starts with nothing in it; a solution starts with all of its projects or not at all.
bool LibraryRules::Load(const std::string &directory)
{
    const std::optional<ReleasePath> path = ReadReleasePath(directory);
    if (!path)
    {
        return false;
    }
    const std::optional<std::string> release =
        JoinedPath({path->root, path->isProject ? "projects" : "solutions", path->name, "releases", path->version});
    if (!release)
    {
        return false;
    }
    if (!path->isProject)
    {
        return LoadSolution(path->root, *release);
    }
    if (std::unique_ptr<ListingRules> listing = ListingRules::Make(mDisk, path->root, *release))
    {
        mListings.push_back(std::move(listing));
    }
    return true;
}

bool LibraryRules::LoadSolution(const std::string &root, const std::string &release)
{
    const Disk::Content solution = mDisk.Find(release + "/solutionmanifest");
    const Disk::Content configuration = mDisk.Find(release + "/configurationmanifest");
    if (solution == nullptr || configuration == nullptr)
    {
        return false;
    }
    const std::optional<std::vector<BoundProject>> projects = ReadSolution(*solution, *configuration);
    bool isWhole = projects.has_value();
    for (std::size_t index = 0; isWhole && index < projects->size(); ++index)
    {
        const BoundProject &project = (*projects)[index];
        const std::optional<std::string> directory =
            JoinedPath({root, "projects", project.name, "releases", VersionText(project.version)});
        std::unique_ptr<ListingRules> listing = directory ? ListingRules::Make(mDisk, root, *directory) : nullptr;
        isWhole = listing != nullptr;
        mListings.push_back(std::move(listing));
    }
    if (!isWhole)
    {
        mListings.clear();
    }
    return isWhole;
}

std::vector<ListedEntry *> LibraryRules::Find(const std::string &path) const
{
    for (const std::unique_ptr<ListingRules> &listing : mListings)
    {
        const std::vector<ListedEntry *> found = listing->Find(path);
        if (!found.empty())
        {
            return found;
        }
    }
    return {};
}

bool LibraryRules::Exists(const std::string &path)
{
    const std::string canonical = CanonicalPath(path, true);
    return !path.empty() && StartIfNeeded() && canonical.size() <= LongestPath && !Find(canonical).empty();
}

Ruled<ListedEntry *> LibraryRules::Open(const std::string &path)
{
    const std::string canonical = CanonicalPath(path, true);
    if (path.empty() || !StartIfNeeded() || canonical.size() > LongestPath)
    {
        return {};
    }
    const std::vector<ListedEntry *> found = Find(canonical);
    if (found.size() > 1)
    {
        return {false, nullptr};
    }
    return {true, !found.empty() && ListingRules::Open(mDisk, *found[0]) ? found[0] : nullptr};
}

Ruled<std::shared_ptr<MergedWalk>> LibraryRules::FindFirst(const std::string &path)
{
    const std::string canonical = CanonicalPath(path, true);
    if (!StartIfNeeded() || canonical.size() > LongestPath)
    {
        return {};
    }
    const std::size_t separator = canonical.rfind('/');
    const bool isInRoot = separator == std::string::npos;
    const std::string directory = isInRoot ? "" : canonical.substr(0, separator);
    std::vector<const ListedEntry *> directories;
    for (const std::unique_ptr<ListingRules> &listing : mListings)
    {
        const std::vector<ListedEntry *> found = listing->Find(directory);
        if (found.size() > 1 || (!found.empty() && !found[0]->hasOrder))
        {
            return {false, nullptr};
        }
        if (!found.empty() && found[0]->isDirectory)
        {
            directories.push_back(found[0]);
        }
    }
    if (directories.empty())
    {
        return {};
    }
    return {true, std::make_shared<MergedWalk>(directories, isInRoot ? canonical : canonical.substr(separator + 1))};
}

std::string LibraryRules::Text() const
{
    std::string text;
    for (const std::unique_ptr<ListingRules> &listing : mListings)
    {
        text += "a listing:\n" + listing->Text();
    }
    return text;
}
} // namespace Keld::Test::Oracle
