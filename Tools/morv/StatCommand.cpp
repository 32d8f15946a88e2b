#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Library.h"

#include "Tools/TreeReader/Deployment.h"
#include "Tools/TreeReader/FileLocator.h"
#include "Tools/TreeReader/Storage.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

#include <map>

namespace Keld::Morv
{
using TreeReader::DeployedFile;
using TreeReader::DeployedRelease;
using TreeReader::FileLocation;
using TreeReader::ReleaseFile;
using TreeReader::Storage;

namespace
{
constexpr const char *Footer = R"(
Shows size, project, the version that stored the file, storage, compression, place on disk,
stored size and the MD5 digest of the content. In a solution it is the file that wins.

Example:
  morv stat textures/sky.dds)";

void PrintRelease(const DeployedRelease &release)
{
    fmt::print("  project      {} {}\n", release.project, FormatVersion(release.version));
}

void PrintPlace(const FileLocation &location, const ReleaseFile &file)
{
    const Storage storage = TreeReader::StorageOf(file.flags);
    fmt::print("  storage      {}\n", TreeReader::NameOf(storage));
    if (storage == Storage::Archive)
    {
        fmt::print("  compression  {}\n", TreeReader::NameOf(TreeReader::CompressionOf(file.flags)));
        fmt::print("  archive      {}\n", location.file.string());
        fmt::print("  offset       {}\n", location.offset);
    }
    else
    {
        fmt::print("  file         {}\n", location.file.string());
    }
    fmt::print("  stored size  {}\n", location.storedSize);
}

// Where the files of a deployment lie. What was read of a release's archives serves all files asked for.
class Places
{
public:
    explicit Places(const TreeReader::Deployment &deployment) : mTree(deployment.root) {}

    FileLocation Locate(const DeployedRelease &release, const ReleaseFile &file)
    {
        const auto locator = mLocators.try_emplace(&release, mTree, release.contents.project).first;
        return locator->second.Locate(file, release.contents.release);
    }

private:
    TreeReader::TreePlaces mTree;
    std::map<const DeployedRelease *, TreeReader::FileLocator> mLocators;
};

void PrintFile(Places &places, const DeployedFile &found)
{
    const ReleaseFile &file = *found.file;
    fmt::print("{}\n", file.path);
    fmt::print("  type         file\n");
    fmt::print("  size         {}\n", file.size);
    PrintRelease(*found.release);
    fmt::print("  version      {}\n", FormatVersion(file.version));
    PrintPlace(places.Locate(*found.release, file), file);
    fmt::print("  digest       {}\n", TreeReader::DigestText(file.digest));
}

void PrintDirectory(const Library &library, const std::string &path, const DeployedRelease &release)
{
    uint64 entries = 0;
    library.Enumerate(path, "*",
                      [&entries](const Library::Entry &)
                      {
                          ++entries;
                      });
    fmt::print("{}\n", path.empty() ? "/" : path);
    fmt::print("  type         directory\n");
    fmt::print("  entries      {}\n", entries);
    PrintRelease(release);
}

void ExplainAbsence(Places &places, const TreeReader::Deployment &deployment, const std::string &path)
{
    const auto anyFile = [](const DeployedRelease &, const ReleaseFile &)
    {
        return true;
    };
    const DeployedFile listed = FindInDeployment(deployment, path, anyFile);
    if (listed.file == nullptr)
    {
        PrintError(path + ": not found; \"morv ls\" and \"morv find\" show what is there");
        return;
    }
    PrintError(path + ": is listed by " + listed.release->project + " " + FormatVersion(listed.release->version) +
               " but missing on disk: " + places.Locate(*listed.release, *listed.file).file.string() +
               "; pack the release again");
}

bool StatOne(const Library &library, Places &places, const TreeReader::Deployment &deployment, const std::string &typed)
{
    const std::string path = VirtualPath(typed);
    const auto isPresent = [&places](const DeployedRelease &release, const ReleaseFile &file)
    {
        return places.Locate(release, file).found;
    };
    const DeployedFile found = FindInDeployment(deployment, path, isPresent);
    if (found.release == nullptr || !library.Exists(path))
    {
        ExplainAbsence(places, deployment, path);
        return false;
    }
    if (found.file != nullptr)
    {
        PrintFile(places, found);
    }
    else
    {
        PrintDirectory(library, path, *found.release);
    }
    return true;
}

ExitCode Stat(const std::string &workingDirectory, const std::vector<std::string> &paths)
{
    const Library library(workingDirectory);
    const TreeReader::Deployment deployment = TreeReader::ResolveDeployment(workingDirectory);
    Places places(deployment);
    ExitCode result = ExitDone;
    for (const std::string &path : paths)
    {
        result = StatOne(library, places, deployment, path) ? result : ExitNo;
    }
    return result;
}
} // namespace

void AddStatCommand(CommandSet &commands)
{
    const auto paths = std::make_shared<std::vector<std::string>>();
    CLI::App &command = commands.Add({"stat", "Show what a path is and where its bytes lie", Footer},
                                     [&commands, paths]
                                     {
                                         return Stat(commands.GetCommon().GetDirectory(), *paths);
                                     });
    command.add_option("PATH", *paths, "Virtual paths; / is the root")->required();
}
} // namespace Keld::Morv
