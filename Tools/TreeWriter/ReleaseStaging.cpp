#include "Tools/TreeWriter/ReleaseStaging.h"

#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeReader/Storage.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/FileOutput.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>
#include <cerrno>
#include <system_error>

#include <stdlib.h>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using TreeReader::ReleaseFile;
using TreeReader::Storage;
using TreeReader::TreeError;
using TreeReader::TreePlaces;

namespace
{
fs::path MakeUniqueDirectory(const fs::path &prefix)
{
    fs::create_directories(prefix.parent_path());
    std::string pattern = prefix.string() + "-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
    {
        throw std::system_error(errno, std::generic_category(), "cannot make " + pattern);
    }
    return pattern;
}

bool HoldsAnything(const fs::path &directory)
{
    std::error_code error;
    return fs::exists(directory, error) && !fs::is_empty(directory, error);
}

bool UsesFilesOf(const fs::path &manifest, MorvVersion version)
{
    const TreeReader::ReleaseContents contents = TreeReader::ReadReleaseManifest(manifest);
    return std::any_of(contents.files.begin(), contents.files.end(),
                       [version](const ReleaseFile &file)
                       {
                           return file.version == version && TreeReader::StorageOf(file.flags) != Storage::Naked;
                       });
}

/// A delta release refers to files of the versions before it: without them it would be served with holes.
void RequireNoDependents(const TreePlaces &tree, const std::string &project, MorvVersion release)
{
    std::error_code error;
    for (const fs::directory_entry &entry :
         fs::directory_iterator(tree.Project(project) / MORV::Reader::ReleasesDirectory, error))
    {
        const fs::path manifest = entry.path() / MORV::Reader::ReleaseManifestName;
        const bool other = entry.path().filename() != FormatVersion(release);
        if (other && fs::exists(manifest, error) && UsesFilesOf(manifest, release))
        {
            throw TreeError("release " + FormatVersion(release) + " cannot be replaced: release " +
                            entry.path().filename().string() + " of " + project +
                            " is served from its files; pack under a new version instead");
        }
    }
}
} // namespace

ReleaseStaging::ReleaseStaging(TreePlaces tree, std::string project, MorvVersion release)
    : mTree(std::move(tree)), mProject(std::move(project)), mRelease(release),
      mDirectory(MakeUniqueDirectory(mTree.Project(mProject) / ("packing-" + FormatVersion(release))))
{
}

ReleaseStaging::~ReleaseStaging()
{
    std::error_code ignored;
    fs::remove_all(mDirectory, ignored);
}

fs::path ReleaseStaging::NakedFiles() const
{
    return mDirectory / MORV::Reader::DeployDirectory;
}

fs::path ReleaseStaging::ManagedFiles() const
{
    return mDirectory / MORV::Reader::ManagedFilesDirectory;
}

fs::path ReleaseStaging::Archives() const
{
    return mDirectory / MORV::Reader::FileArchivesDirectory;
}

void ReleaseStaging::Publish(std::string_view manifest)
{
    const fs::path finished = mDirectory / MORV::Reader::ReleaseManifestName;
    WriteFile(finished, manifest);
    fs::create_directories(NakedFiles()); // the place that consumers start in, also when it stays empty

    const fs::path target = mTree.ReleaseManifest(mProject, mRelease);
    fs::remove(target);
    MoveIntoPlace(Archives(), mTree.Archives(mProject, mRelease));
    MoveIntoPlace(ManagedFiles(), mTree.ManagedFiles(mProject, mRelease));
    MoveIntoPlace(NakedFiles(), mTree.NakedFiles(mProject, mRelease));
    fs::rename(finished, target);
}

void ReleaseStaging::MoveIntoPlace(const fs::path &from, const fs::path &to)
{
    if (fs::exists(to))
    {
        fs::rename(to, mDirectory / ("replaced-" + from.filename().string()));
    }
    if (fs::exists(from))
    {
        fs::create_directories(to.parent_path());
        fs::rename(from, to);
    }
}

void RequireFreeRelease(const TreePlaces &tree, const std::string &project, MorvVersion release, bool replace)
{
    const bool storesFiles =
        HoldsAnything(tree.Archives(project, release)) || HoldsAnything(tree.ManagedFiles(project, release));
    if (replace)
    {
        if (storesFiles)
        {
            RequireNoDependents(tree, project, release);
        }
        return;
    }
    if (fs::exists(tree.ReleaseManifest(project, release)))
    {
        throw TreeError("release " + FormatVersion(release) + " of " + project +
                        " is already there: choose another --release, or replace it with --force");
    }
    if (storesFiles || HoldsAnything(tree.NakedFiles(project, release)))
    {
        throw TreeError("files of version " + FormatVersion(release) + " of " + project +
                        " are already there, though no release of it: choose another --release, or replace them "
                        "with --force");
    }
}
} // namespace Keld::TreeWriter
