#include "KeldMorvIO/environment/RuntimeEnvironment.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/path/Path.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/environment/MultiListingIterator.h"
#include "KeldMorvIO/environment/SearchOrder.h"
#include "KeldMorvIO/listing/ReleaseManifest.h"

#include <algorithm>
#include <memory>
#include <utility>

namespace Keld::MORV::Reader
{
namespace
{
constexpr const char *LoadSolutionSignature =
    "bool Keld::MORV::Reader::LoadSolution(const char *, const char *, std::vector<class ProjectListing *> &)";

void DeleteListings(std::vector<ProjectListing *> &listings)
{
    for (ProjectListing *const listing : listings)
    {
        delete listing;
    }
    listings.clear();
}

// The vector owns the listing afterwards.
void AddListing(std::vector<ProjectListing *> &listings, std::unique_ptr<ProjectListing> listing)
{
    listings.push_back(listing.get());
    static_cast<void>(listing.release());
}

// Makes the listing of one project release. The manifest is gone again when this returns.
ProjectListing *CreateListing(const char *morvRoot, const char *projectPath)
{
    constexpr const char *signature =
        "Keld::MORV::Reader::ProjectListing *Keld::MORV::Reader::CreateListing(const char *, const char *)";
    char manifestPath[PathBufferSize];
    if (!JoinPath(manifestPath, sizeof manifestPath, {projectPath, ReleaseManifestName}))
    {
        LogError("%s: MORV runtime environment listing creation failed to join the path: projectPath=\"%s\".",
                 signature, projectPath);
        return nullptr;
    }
    const std::unique_ptr<ReleaseManifest> manifest(ReleaseManifest::Load(manifestPath));
    if (manifest == nullptr)
    {
        LogError("%s: Failure to load project manifest \"%s\".", signature, manifestPath);
        return nullptr;
    }
    return manifest->CreateListing(morvRoot);
}

// Reads both text manifests of a solution release and joins them: its projects in search order.
bool LoadSolutionProjects(const char *localRoot, std::vector<SolutionManifest::PROJECT> &projects)
{
    char solutionPath[PathBufferSize];
    if (!JoinPath(solutionPath, sizeof solutionPath, {localRoot, SolutionManifestName}))
    {
        LogError("%s: MORV runtime environment load solution failed to build solution manifest path: localRoot=\"%s\".",
                 LoadSolutionSignature, localRoot);
        return false;
    }
    char configurationPath[PathBufferSize];
    if (!JoinPath(configurationPath, sizeof configurationPath, {localRoot, ConfigurationManifestName}))
    {
        LogError("%s: MORV runtime environment load solution failed to build configuration manifest path: "
                 "localRoot=\"%s\".",
                 LoadSolutionSignature, localRoot);
        return false;
    }
    SolutionManifest solution;
    if (solution.Load(solutionPath) < 0)
    {
        LogError("%s: Failure to load solution manifest \"%s\".", LoadSolutionSignature, solutionPath);
        return false;
    }
    ConfigurationManifest configuration;
    if (configuration.Load(configurationPath) < 0)
    {
        LogError("%s: Failure to load configuration manifest \"%s\".", LoadSolutionSignature, configurationPath);
        return false;
    }
    if (GatherInSearchOrder(configuration, solution, projects) < 0)
    {
        LogError("%s: Failed to gather projects for %s", LoadSolutionSignature, solutionPath);
        return false;
    }
    return true;
}

bool AppendListing(const char *morvRoot, const SolutionManifest::PROJECT &project,
                   std::vector<ProjectListing *> &listings)
{
    const std::string versionText = FormatVersion(project.version);
    char projectPath[PathBufferSize];
    if (!JoinPath(projectPath, sizeof projectPath,
                  {morvRoot, ProjectsDirectory, project.name.c_str(), ReleasesDirectory, versionText.c_str()}))
    {
        LogError("%s: MORV runtime environment load solution failed to build project path: morvRoot=\"%s\", "
                 "project=\"%s\", project-version=\"%s\".",
                 LoadSolutionSignature, morvRoot, project.name.c_str(), versionText.c_str());
        return false;
    }
    std::unique_ptr<ProjectListing> listing(CreateListing(morvRoot, projectPath));
    if (listing == nullptr)
    {
        LogError("%s: MORV runtime environment load solution failed to create project listing: projectPath=\"%s\".",
                 LoadSolutionSignature, projectPath);
        return false;
    }
    AddListing(listings, std::move(listing));
    return true;
}

// All or nothing: one project that cannot be had fails the solution.
bool LoadSolution(const char *morvRoot, const char *localRoot, std::vector<class ProjectListing *> &listings)
{
    std::vector<SolutionManifest::PROJECT> projects;
    if (!LoadSolutionProjects(localRoot, projects))
    {
        return false;
    }
    const bool complete = std::all_of(projects.begin(), projects.end(),
                                      [&](const SolutionManifest::PROJECT &project)
                                      {
                                          return AppendListing(morvRoot, project, listings);
                                      });
    if (!complete)
    {
        DeleteListings(listings);
    }
    return complete;
}
} // namespace

RuntimeEnvironment *RuntimeEnvironment::Create(const char *path)
{
    constexpr const char *signature =
        "static Keld::MORV::Reader::RuntimeEnvironment *Keld::MORV::Reader::RuntimeEnvironment::Create(const char *)";
    LogTrace("%s: ", signature);

    char canonical[PathBufferSize];
    RuntimeType type = RuntimeTypeProject;
    std::string name;
    MorvVersion version = 0;
    bool known = CanonicalizePathBounded(path, canonical, sizeof canonical, 0);
    std::string root;
    if (known)
    {
        root = GetMorvRootDirectory(canonical);
        LogProgress("%s: Creating MORV runtime environment: MORV root directory = \"%s\"", signature, root.c_str());
        known = GetProjectTypeNameAndVersion(canonical, type, name, version);
    }
    if (!known)
    {
        LogError("%s: MORV runtime environment creation failed because it was unable to get the project information.",
                 signature);
        return nullptr;
    }

    // Formatted anew, so that "01.02.03.04" in the path loads the release 1.2.3.4.
    const std::string versionText = FormatVersion(version);
    std::string deployRoot;
    // Plain pointers on purpose: when memory runs out from here on, the exception leaves what was appended undestroyed.
    std::vector<ProjectListing *> listings;
    if (!CollectProjects(type, root.c_str(), name.c_str(), versionText.c_str(), deployRoot, listings))
    {
        LogError("%s: MORV runtime environment creation failed because it was unable to collect the projects.",
                 signature);
        return nullptr;
    }
    return new RuntimeEnvironment(root, deployRoot, listings, type, name, version);
}

bool RuntimeEnvironment::GetProjectTypeNameAndVersion(const char *path, RuntimeEnvironment::RuntimeType &type,
                                                      std::string &name, MorvVersion &version)
{
    return Reader::GetProjectTypeNameAndVersion(path, type, name, version);
}

bool RuntimeEnvironment::CollectProjects(RuntimeEnvironment::RuntimeType type, const char *morvRoot, const char *name,
                                         const char *version, std::string &deployRoot,
                                         std::vector<class ProjectListing *> &listings)
{
    constexpr const char *signature =
        "static bool Keld::MORV::Reader::RuntimeEnvironment::CollectProjects(RuntimeEnvironment::RuntimeType, "
        "const char *, const char *, const char *, std::string &, std::vector<class ProjectListing *> &)";
    char releaseRoot[PathBufferSize];
    if (type == RuntimeTypeSolution)
    {
        if (!JoinPath(releaseRoot, sizeof releaseRoot,
                      {morvRoot, SolutionsDirectory, name, ReleasesDirectory, version}))
        {
            LogError("%s: MORV solution runtime environment project collection failed to build the root folder path: "
                     "morvRoot=\"%s\", name=\"%s\", version=\"%s\".",
                     signature, morvRoot, name, version);
            return false;
        }
        if (!LoadSolution(morvRoot, releaseRoot, listings))
        {
            LogError("%s: MORV solution runtime environment project collection failed to load solution.", signature);
            return false;
        }
    }
    else
    {
        if (!JoinPath(releaseRoot, sizeof releaseRoot, {morvRoot, ProjectsDirectory, name, ReleasesDirectory, version}))
        {
            LogError("%s: MORV project runtime environment project collection failed to build the root folder path: "
                     "morvRoot=\"%s\", name=\"%s\", version=\"%s\".",
                     signature, morvRoot, name, version);
            return false;
        }
        // A project that cannot be loaded is no failure: the library runs on, empty.
        std::unique_ptr<ProjectListing> listing(CreateListing(morvRoot, releaseRoot));
        if (listing != nullptr)
        {
            AddListing(listings, std::move(listing));
        }
    }
    deployRoot = std::string(releaseRoot) + "/" + DeployDirectory;
    return true;
}

RuntimeEnvironment::RuntimeEnvironment(std::string &morvRoot, std::string &deployRoot,
                                       std::vector<ProjectListing *> &listings, RuntimeType type, std::string &name,
                                       MorvVersion version)
    : mRuntimeType(type), mVersion(version), mFilter(listings)
{
    mMorvRoot.swap(morvRoot);
    mDeployRoot.swap(deployRoot);
    mListings.swap(listings);
    mName.swap(name);
}

RuntimeEnvironment::~RuntimeEnvironment()
{
    for (ProjectListing *&listing : mListings)
    {
        delete listing;
        listing = nullptr;
    }
}

std::pair<ProjectListing *, const ProjectListing::FileEntry *> RuntimeEnvironment::FindEntry(const char *path) const
{
    if (path == nullptr)
    {
        return {nullptr, nullptr};
    }
    const LookupPath lookup(path, LookupPath::Form::Canonical);
    return lookup.Fits() ? FindEntry(lookup) : std::pair<ProjectListing *, const ProjectListing::FileEntry *>();
}

std::pair<ProjectListing *, const ProjectListing::FileEntry *>
RuntimeEnvironment::FindEntry(const LookupPath &path) const
{
    const SearchFilter::Candidates candidates = mFilter.Find(path.GetHash());
    for (uint_size index = 0; index < mListings.size(); ++index)
    {
        if (!candidates.Has(index))
        {
            continue;
        }
        if (const ProjectListing::FileEntry *const entry = mListings[index]->FindEntry(path))
        {
            return {mListings[index], entry};
        }
    }
    return {nullptr, nullptr};
}

std::unique_ptr<MultiListingIterator> RuntimeEnvironment::CreateDirectoryIterator(const char *directory) const
{
    const LookupPath path(directory, LookupPath::Form::Canonical);
    if (!path.Fits())
    {
        return nullptr;
    }
    const SearchFilter::Candidates candidates = mFilter.Find(path.GetHash());
    MultiListingIterator::DirectoryIterators iterators;
    for (uint_size index = 0; index < mListings.size(); ++index)
    {
        const ProjectListing::FileEntry *const entry =
            candidates.Has(index) ? mListings[index]->FindEntry(path) : nullptr;
        if (entry != nullptr && ProjectListing::IsDirectory(entry))
        {
            iterators.push_back(std::make_unique<ProjectListing::DirectoryIterator>(entry));
        }
    }
    return iterators.empty() ? nullptr : std::make_unique<MultiListingIterator>(std::move(iterators));
}
} // namespace Keld::MORV::Reader
