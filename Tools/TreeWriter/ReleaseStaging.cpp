#include "Tools/TreeWriter/ReleaseStaging.h"

#include "Tools/TreeReader/DirectoryVisit.h"
#include "Tools/TreeReader/ManifestTree.h"
#include "Tools/TreeReader/Storage.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeReader/TreeText.h"
#include "Tools/TreeWriter/DirectoryProtection.h"
#include "Tools/TreeWriter/FileOutput.h"

#include "KeldMorvIO/TreeWords.h"

#include <algorithm>
#include <cerrno>
#include <cstring>
#include <optional>
#include <system_error>

#include <stdlib.h>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using TreeReader::Storage;
using TreeReader::TreeError;
using TreeReader::TreePlaces;

namespace
{
constexpr const char *Prefix = "packing-";

/// For everybody whom the mask lets in, as a directory that mkdir makes: while places are links, a release is read
/// through it.
fs::path MakeUniqueDirectory(const fs::path &prefix)
{
    std::string pattern = prefix.string() + "-XXXXXX";
    if (mkdtemp(pattern.data()) == nullptr)
    {
        throw std::system_error(errno, std::generic_category(), "cannot make " + pattern);
    }
    const fs::path ordinary = fs::path(pattern) / "new";
    fs::create_directory(ordinary);
    fs::permissions(pattern, fs::status(ordinary).permissions());
    return pattern;
}

/// The release of a staging directory by its name, "packing-1.0.0.0-XXXXXX", or nothing.
std::optional<MorvVersion> VersionOfStaging(const std::string &name)
{
    const std::size_t end = name.rfind('-');
    const std::size_t begin = std::strlen(Prefix);
    if (name.rfind(Prefix, 0) != 0 || end <= begin || name.size() - end != std::strlen("-XXXXXX"))
    {
        return std::nullopt;
    }
    try
    {
        return TreeReader::ParseVersionText(name.substr(begin, end - begin));
    }
    catch (const TreeError &)
    {
        return std::nullopt;
    }
}

bool HoldsAnything(const fs::path &directory)
{
    const bool isEmpty = fs::is_directory(directory) && TreeReader::RequireNames(directory).empty();
    return fs::exists(directory) && !isEmpty;
}

bool UsesFilesOf(const fs::path &manifest, MorvVersion version)
{
    const auto loaded = TreeReader::ManifestTree::Load(manifest.string());
    if (!loaded)
    {
        throw TreeError(loaded.GetFault().GetMessage());
    }
    for (uint32 number = 0; number < (*loaded)->GetFileCount(); ++number)
    {
        const auto &fields = (*loaded)->GetTables().GetFile(number);
        if (fields.version == version && TreeReader::StorageOf(fields.flags) != Storage::Naked)
        {
            return true;
        }
    }
    return false;
}

/// A delta release refers to files of the versions before it: without them it would be served with holes.
void RequireNoDependents(const TreePlaces &tree, const std::string &project, MorvVersion release)
{
    const fs::path releases = tree.Project(project) / MORV::Reader::ReleasesDirectory;
    for (const std::string &other : TreeReader::RequireNames(releases))
    {
        const fs::path manifest = releases / other / MORV::Reader::ReleaseManifestName;
        if (other != FormatVersion(release) && fs::exists(manifest) && UsesFilesOf(manifest, release))
        {
            throw TreeError("release " + FormatVersion(release) + " cannot be replaced: release " + other + " of " +
                            project + " is served from its files; pack under a new version instead");
        }
    }
}
} // namespace

ReleaseStaging::ReleaseStaging(const TreePlaces &tree, const std::string &project, MorvVersion release,
                               ReleasePublisher::Options options)
    : mDirectory(MakeUniqueDirectory(tree.Project(project) / (Prefix + FormatVersion(release)))),
      mPublisher(tree, project, release, mDirectory, std::move(options))
{
}

ReleaseStaging::~ReleaseStaging()
{
    try
    {
        mPublisher.SetRight();
        RemoveTree(mDirectory);
    }
    catch (const std::exception &)
    {
        // What could not be set right now must stay for the next process: the release may be served from it.
    }
}

fs::path ReleaseStaging::NakedFiles() const
{
    return mPublisher.NewPart(MORV::Reader::DeployDirectory);
}

fs::path ReleaseStaging::ManagedFiles() const
{
    return mPublisher.NewPart(MORV::Reader::ManagedFilesDirectory);
}

fs::path ReleaseStaging::Archives() const
{
    return mPublisher.NewPart(MORV::Reader::FileArchivesDirectory);
}

void ReleaseStaging::RemoveSpool() const
{
    RemoveTree(Spool());
}

void ReleaseStaging::Publish(std::string_view manifest)
{
    WriteFile(mPublisher.NewPart(MORV::Reader::ReleaseManifestName), manifest);
    fs::create_directories(NakedFiles()); // the place that consumers start in, also when it stays empty
    mPublisher.Publish();
}

std::vector<std::string> FindLeftovers(const TreePlaces &tree, const std::string &project)
{
    std::vector<std::string> names = TreeReader::RequireNames(tree.Project(project));
    std::erase_if(names,
                  [&](const std::string &name)
                  {
                      // A link of such a name is nobody's staging, and leads to what is not ours to remove.
                      return !VersionOfStaging(name) ||
                             !fs::is_directory(fs::symlink_status(tree.Project(project) / name));
                  });
    return names;
}

std::vector<std::string> RemoveLeftovers(const TreePlaces &tree, const std::string &project, bool sync)
{
    const std::vector<std::string> names = FindLeftovers(tree, project);
    for (const std::string &name : names)
    {
        const fs::path directory = tree.Project(project) / name;
        ReleasePublisher::Options options;
        options.sync = sync;
        ReleasePublisher(tree, project, *VersionOfStaging(name), directory, options).SetRight();
        RemoveTree(directory);
    }
    return names;
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
