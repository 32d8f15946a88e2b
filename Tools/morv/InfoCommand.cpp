#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Commands.h"
#include "Tools/morv/Library.h"

#include "Tools/TreeReader/Deployment.h"
#include "Tools/TreeReader/FileLocator.h"
#include "Tools/TreeReader/Storage.h"

#include <CLI/CLI.hpp>
#include <fmt/format.h>

namespace Keld::Morv
{
using TreeReader::Compression;
using TreeReader::DeployedRelease;
using TreeReader::ReleaseFile;
using TreeReader::Storage;

namespace
{
constexpr const char *Footer = R"(
Shows the tree's root, whether this is a project or a solution, its name and version, and the
project releases behind the file system in the order in which they are searched.

Example:
  morv -C /srv/MORV/solutions/suite/releases/0.0.1.0 info)";

struct StorageCounts
{
    uint64 naked = 0;
    uint64 managed = 0;
    uint64 stored = 0;
    uint64 zlib = 0;
    uint64 lzma = 0;
    uint64 missing = 0;
};

void Count(const ReleaseFile &file, StorageCounts &counts)
{
    switch (TreeReader::StorageOf(file.flags))
    {
    case Storage::Naked:
        ++counts.naked;
        return;
    case Storage::Managed:
        ++counts.managed;
        return;
    case Storage::Archive:
        break;
    }
    const Compression compression = TreeReader::CompressionOf(file.flags);
    ++(compression == Compression::None ? counts.stored : compression == Compression::Zlib ? counts.zlib : counts.lzma);
}

StorageCounts CountFiles(const TreeReader::Deployment &deployment, const DeployedRelease &release)
{
    TreeReader::FileLocator locator(TreeReader::TreePlaces(deployment.root), release.contents.project);
    StorageCounts counts;
    for (const ReleaseFile &file : release.contents.files)
    {
        if (locator.Locate(file, release.contents.release).found)
        {
            Count(file, counts);
        }
        else
        {
            ++counts.missing;
        }
    }
    return counts;
}

void PrintRelease(const TreeReader::Deployment &deployment, const DeployedRelease &release, std::size_t position)
{
    const StorageCounts counts = CountFiles(deployment, release);
    fmt::print("  {}. {} {}", position, release.project, FormatVersion(release.version));
    if (deployment.isSolution)
    {
        fmt::print(", priority {}", release.priority);
    }
    fmt::print("\n     {} files in {} directories: {} naked, {} managed, {} archived ({} stored, {} zlib, {} lzma)",
               release.contents.files.size(), release.contents.directories.size() + 1, counts.naked, counts.managed,
               counts.stored + counts.zlib + counts.lzma, counts.stored, counts.zlib, counts.lzma);
    if (counts.missing > 0)
    {
        fmt::print(", {} MISSING on disk", counts.missing);
    }
    fmt::print("\n");
}

ExitCode Info(const std::string &workingDirectory)
{
    const Library library(workingDirectory);
    const TreeReader::Deployment deployment = TreeReader::ResolveDeployment(workingDirectory);
    fmt::print("root      {}\n", deployment.root.string());
    fmt::print("kind      {}\n", deployment.isSolution ? "solution" : "project");
    fmt::print("name      {}\n", deployment.name);
    fmt::print("version   {}\n", FormatVersion(deployment.version));
    if (deployment.isSolution)
    {
        fmt::print("uses      configuration {}\n", deployment.configuration);
    }
    fmt::print("listings  {}, in the order of the search\n", deployment.releases.size());
    for (std::size_t index = 0; index < deployment.releases.size(); ++index)
    {
        PrintRelease(deployment, deployment.releases[index], index + 1);
    }
    return ExitDone;
}
} // namespace

void AddInfoCommand(CommandSet &commands)
{
    commands.Add({"info", "Show what the working directory resolves to", Footer},
                 [&commands]
                 {
                     return Info(commands.GetCommon().GetDirectory());
                 });
}
} // namespace Keld::Morv
