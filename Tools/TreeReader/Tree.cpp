#include "Tools/TreeReader/Tree.h"

#include "KeldFoundation/CStd/PathLimit.h"
#include "KeldFoundation/path/Path.h"
#include "KeldMorvIO/TreeWords.h"
#include "KeldMorvIO/environment/WorkingDirectory.h"
#include "KeldMorvIO/listing/DiskPaths.h"

#include <algorithm>

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

bool IsThere(const std::string &path, EntryType type)
{
    struct stat status = {};
    const bool exists = stat(path.c_str(), &status) == 0;
    return exists && (type == EntryType::File ? S_ISREG(status.st_mode) : S_ISDIR(status.st_mode));
}

/// The names in a directory that hold something; none where there is no such directory.
Result<std::vector<std::string>> NamesWith(const std::string &directory, const std::string &content, EntryType type)
{
    Result<std::vector<std::string>> names = ReadNames(directory);
    if (!names)
    {
        return names.GetFault().kind == FaultKind::NotThere
                   ? Result<std::vector<std::string>>(std::vector<std::string>())
                   : names;
    }
    std::erase_if(*names,
                  [&](const std::string &name)
                  {
                      return !IsThere(directory + "/" + name + content, type);
                  });
    return names;
}

Result<std::vector<MorvVersion>> ListVersions(const std::string &releases, const char *manifest)
{
    const Result<std::vector<std::string>> names = NamesWith(releases, std::string("/") + manifest, EntryType::File);
    if (!names)
    {
        return names.GetFault();
    }
    std::vector<MorvVersion> versions;
    for (const std::string &name : *names)
    {
        MorvVersion version = 0;
        // The library makes a directory's name from the version, so no other spelling of it is ever looked for.
        if (ParseVersion(name.c_str(), &version) && FormatVersion(version) == name)
        {
            versions.push_back(version);
        }
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

Result<std::vector<std::string>> Tree::ListProjects() const
{
    return NamesWith(mRoot + "/" + MORV::Reader::ProjectsDirectory, std::string("/") + MORV::Reader::ReleasesDirectory,
                     EntryType::Directory);
}

Result<std::vector<std::string>> Tree::ListSolutions() const
{
    return NamesWith(mRoot + "/" + MORV::Reader::SolutionsDirectory, std::string("/") + MORV::Reader::ReleasesDirectory,
                     EntryType::Directory);
}

Result<std::vector<MorvVersion>> Tree::ListReleases(const std::string &project) const
{
    return ListVersions(mRoot + "/" + MORV::Reader::ProjectsDirectory + "/" + project + "/" +
                            MORV::Reader::ReleasesDirectory,
                        MORV::Reader::ReleaseManifestName);
}

Result<std::vector<MorvVersion>> Tree::ListSolutionReleases(const std::string &solution) const
{
    return ListVersions(mRoot + "/" + MORV::Reader::SolutionsDirectory + "/" + solution + "/" +
                            MORV::Reader::ReleasesDirectory,
                        MORV::Reader::SolutionManifestName);
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
    const Release::Shared shared{projectRoot, &GetArchives(projectRoot), &mFiles};
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

const ProjectArchives &Tree::GetArchives(const std::string &projectRoot)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    std::unique_ptr<ProjectArchives> &archives = mArchives[projectRoot];
    if (archives == nullptr)
    {
        archives = std::make_unique<ProjectArchives>(projectRoot);
    }
    return *archives;
}
} // namespace Keld::TreeReader
