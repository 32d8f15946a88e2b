#include "Tools/TreeReader/Tree.h"

#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldFoundation/path/Path.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/environment/WorkingDirectory.h"
#include "KeldMorvIO/listing/DiskPaths.h"

#include <algorithm>
#include <cerrno>

#include <sys/stat.h>

namespace Keld::TreeReader
{

namespace
{
constexpr uint_size FilesKeptOpen = 64;

enum class EntryType
{
    File,
    Directory
};

Result<bool> IsThere(const std::string &path, EntryType type)
{
    struct stat status = {};
    if (stat(path.c_str(), &status) == 0)
    {
        return type == EntryType::File ? S_ISREG(status.st_mode) : S_ISDIR(status.st_mode);
    }
    if (errno == ELOOP)
    {
        return false; // a link that leads to itself leads nowhere
    }
    const Fault fault = ExplainSystemError(path, errno);
    return IsDoubt(fault.kind) ? Result<bool>(fault) : Result<bool>(false);
}

/// The names in a directory; none where there is no such directory.
Result<std::vector<std::string>> NamesIn(const std::string &directory)
{
    Result<std::vector<std::string>> names = ReadNames(directory);
    const bool isEmpty = !names && names.GetFault().kind == FaultKind::NotThere;
    return isEmpty ? Result<std::vector<std::string>>(std::vector<std::string>()) : names;
}

/// Those of the names that hold something.
Result<std::vector<std::string>> KeepThoseWith(const std::string &directory, const std::vector<std::string> &names,
                                               const std::string &content, EntryType type, Tree::Doubts *doubts)
{
    std::vector<std::string> kept;
    for (const std::string &name : names)
    {
        const Result<bool> isThere = IsThere(directory + "/" + name + "/" + content, type);
        if (!isThere && doubts == nullptr)
        {
            return isThere.GetFault();
        }
        if (!isThere)
        {
            doubts->push_back(isThere.GetFault());
        }
        else if (*isThere)
        {
            kept.push_back(name);
        }
    }
    return kept;
}

/// The projects or solutions.
Result<std::vector<std::string>> ListOwners(const std::string &directory, Tree::Doubts *doubts)
{
    const Result<std::vector<std::string>> names = NamesIn(directory);
    return names ? KeepThoseWith(directory, *names, MORV::Reader::ReleasesDirectory, EntryType::Directory, doubts)
                 : names;
}

Result<std::vector<MorvVersion>> ListVersions(const std::string &releases, const char *manifest, Tree::Doubts *doubts)
{
    Result<std::vector<std::string>> names = NamesIn(releases);
    if (names)
    {
        // The library makes a directory's name from the version, so no other spelling of it is ever looked for.
        std::erase_if(*names,
                      [](const std::string &name)
                      {
                          MorvVersion version = 0;
                          return !ParseVersion(name.c_str(), &version) || FormatVersion(version) != name;
                      });
        names = KeepThoseWith(releases, *names, manifest, EntryType::File, doubts);
    }
    if (!names)
    {
        return names.GetFault();
    }
    std::vector<MorvVersion> versions(names->size());
    for (uint_size index = 0; index < versions.size(); ++index)
    {
        ParseVersion((*names)[index].c_str(), &versions[index]);
    }
    std::sort(versions.begin(), versions.end());
    return versions;
}

/// Joined as the library joins it; empty when the library refuses the path as too long.
std::string MakeReleaseDirectory(const std::string &root, const char *kind, const std::string &name,
                                 MorvVersion version)
{
    char buffer[PathBufferSize];
    const bool fits =
        JoinPath(buffer, sizeof buffer,
                 {root.c_str(), kind, name.c_str(), MORV::Reader::ReleasesDirectory, FormatVersion(version).c_str()});
    return fits ? buffer : "";
}
} // namespace

Tree::Tree(std::string root) : mRoot(std::move(root)), mFiles(FilesKeptOpen) {}

std::string Tree::FindRoot(const std::string &directory)
{
    const std::string path = directory + "/"; // the directory itself may be the root
    const std::string root = MORV::Reader::GetMorvRootDirectory(path.c_str());
    return root.ends_with(MORV::Reader::RootDirectory) ? root : "";
}

Result<std::vector<std::string>> Tree::ListProjects(Doubts *doubts) const
{
    return ListOwners(mRoot + "/" + MORV::Reader::ProjectsDirectory, doubts);
}

Result<std::vector<std::string>> Tree::ListSolutions(Doubts *doubts) const
{
    return ListOwners(mRoot + "/" + MORV::Reader::SolutionsDirectory, doubts);
}

Result<std::vector<MorvVersion>> Tree::ListReleases(const std::string &project, Doubts *doubts) const
{
    return ListVersions(mRoot + "/" + MORV::Reader::ProjectsDirectory + "/" + project + "/" +
                            MORV::Reader::ReleasesDirectory,
                        MORV::Reader::ReleaseManifestName, doubts);
}

Result<std::vector<MorvVersion>> Tree::ListSolutionReleases(const std::string &solution, Doubts *doubts) const
{
    return ListVersions(mRoot + "/" + MORV::Reader::SolutionsDirectory + "/" + solution + "/" +
                            MORV::Reader::ReleasesDirectory,
                        MORV::Reader::SolutionManifestName, doubts);
}

std::string Tree::GetReleaseDirectory(const std::string &project, MorvVersion version) const
{
    return MakeReleaseDirectory(mRoot, MORV::Reader::ProjectsDirectory, project, version);
}

std::string Tree::GetSolutionDirectory(const std::string &solution, MorvVersion version) const
{
    return MakeReleaseDirectory(mRoot, MORV::Reader::SolutionsDirectory, solution, version);
}

Result<std::shared_ptr<const Release>> Tree::OpenRelease(const std::string &project, MorvVersion version)
{
    const ReleaseName name(project, version);
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        const auto kept = mReleases.find(name);
        if (kept != mReleases.end())
        {
            return kept->second;
        }
    }
    Result<std::shared_ptr<const Release>> loaded = Load(project, version);
    if (loaded)
    {
        // Of two threads that loaded one release at once, both get the first one's.
        const std::lock_guard<std::mutex> lock(mMutex);
        return mReleases.emplace(name, *loaded).first->second;
    }
    return loaded;
}

Result<std::shared_ptr<const Release>> Tree::Load(const std::string &project, MorvVersion version)
{
    const std::string directory = GetReleaseDirectory(project, version);
    const std::string path = directory + "/" + MORV::Reader::ReleaseManifestName;
    if (directory.empty() || path.size() >= PathBufferSize)
    {
        return Fault{FaultKind::PathTooLong, mRoot,
                     "the path of release " + FormatVersion(version) + " of " + project +
                         " is too long for the library: 1,024 bytes or more"};
    }
    Result<std::shared_ptr<const ManifestTree>> tree = LoadManifest({project, version}, path);
    if (!tree)
    {
        Fault fault = tree.GetFault();
        if (fault.kind == FaultKind::NotThere)
        {
            fault.text =
                "there is no release " + FormatVersion(version) + " of the project " + project + ": it " + fault.text;
        }
        return fault;
    }
    char projectRoot[PathBufferSize];
    if (!MORV::Reader::DiskPaths::JoinProjectRoot(projectRoot, sizeof projectRoot, mRoot.c_str(),
                                                  (*tree)->GetProjectName()))
    {
        return Fault{FaultKind::PathTooLong, path,
                     "names a project whose path on disk the library refuses as too long"};
    }
    const Release::Shared shared{projectRoot, &GetArchives((*tree)->GetProjectName(), projectRoot), &mFiles};
    return std::shared_ptr<const Release>(std::make_shared<Release>(directory, std::move(*tree), shared));
}

void Tree::KnowManifest(const std::string &project, MorvVersion version, const LargeVector<char> &image,
                        std::shared_ptr<const ManifestTree> manifest)
{
    mKnown[{project, version}] = {&image, std::move(manifest)};
}

Result<std::shared_ptr<const ManifestTree>> Tree::LoadManifest(const ReleaseName &name, const std::string &path) const
{
    Result<LargeVector<char>> image = ReadFileImage(path, ManifestTree::LargestImage);
    if (!image)
    {
        return image.GetFault();
    }
    const auto known = mKnown.find(name);
    if (known != mKnown.end() && *known->second.image == *image)
    {
        return known->second.manifest;
    }
    Result<std::unique_ptr<const ManifestTree>> parsed = ManifestTree::Parse(*image, path);
    if (!parsed)
    {
        return parsed.GetFault();
    }
    return std::shared_ptr<const ManifestTree>(std::move(*parsed));
}

const ProjectArchives &Tree::GetArchives(const std::string &project, const std::string &projectRoot)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    std::unique_ptr<ProjectArchives> &archives = mArchives[project];
    if (archives == nullptr)
    {
        const std::string indexRoot = mRoot + "/" + MORV::Reader::ProjectsDirectory + "/" + project;
        archives = std::make_unique<ProjectArchives>(indexRoot, projectRoot);
    }
    return *archives;
}
} // namespace Keld::TreeReader
