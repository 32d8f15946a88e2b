#include "Tools/TreeWriter/BaseRelease.h"

#include "Tools/TreeReader/ManifestTree.h"
#include "Tools/TreeReader/TreeError.h"

#include <algorithm>
#include <filesystem>
#include <map>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using TreeReader::ReleaseContents;
using TreeReader::ReleaseFile;
using TreeReader::Storage;
using TreeReader::TreeError;
using TreeReader::TreePlaces;

namespace
{
constexpr uint_size DataFilesKeptOpen = 8;

ReleaseContents Load(const PackRequest &request, const TreePlaces &tree)
{
    if (!request.base)
    {
        return {};
    }
    const std::string base = FormatVersion(*request.base);
    if (*request.base == request.release)
    {
        throw TreeError("a release cannot be its own base: give --base an earlier release");
    }
    const fs::path manifest = tree.ReleaseManifest(request.project, *request.base);
    std::error_code error;
    if (!fs::exists(manifest, error))
    {
        throw TreeError("the project " + request.project + " has no release " + base + " to be the base: there is no " +
                        manifest.string());
    }
    if (*request.base > request.release)
    {
        throw TreeError("release " + base + " is later than " + FormatVersion(request.release) +
                        ": give --base an earlier release");
    }
    const auto loaded = TreeReader::ManifestTree::Load(manifest.string());
    if (!loaded)
    {
        throw TreeError(loaded.GetFault().GetMessage());
    }
    return TreeReader::MakeContents(**loaded);
}
} // namespace

BaseRelease::BaseRelease(const PackRequest &request, const TreePlaces &tree)
    : mTree(tree), mProject(request.project), mArchives(tree.Project(request.project).string()),
      mDataFiles(DataFilesKeptOpen), mContents(Load(request, tree))
{
    for (const ReleaseFile &file : mContents.files)
    {
        mFiles.emplace(file.path, &file);
    }
    ChooseUsual();
}

const ReleaseFile *BaseRelease::Find(const std::string &path) const
{
    const auto entry = mFiles.find(path);
    return entry != mFiles.end() ? entry->second : nullptr;
}

bool BaseRelease::CanBeKept(const ReleaseFile &file) const
{
    switch (TreeReader::StorageOf(file.flags))
    {
    case Storage::Naked:
        return false;
    case Storage::Managed:
    {
        std::error_code error;
        return fs::is_regular_file(mTree.ManagedFiles(mProject, file.version) / file.path, error);
    }
    case Storage::Archive:
        break;
    }
    const TreeReader::ArchiveHit hit = mArchives.GetVersion(file.version).Find(file.path.c_str());
    return hit.archive != nullptr && !hit.archive->CheckData(mDataFiles);
}

std::optional<StorageChoice> BaseRelease::InheritedChoice(const std::string &path) const
{
    const ReleaseFile *file = Find(path);
    return file != nullptr && file->size != 0 ? ChoiceOf(*file) : mUsual;
}

void BaseRelease::ChooseUsual()
{
    std::map<uint32, uint64> counts; // by flags, so that a tie is always broken in the same way
    for (const ReleaseFile &file : mContents.files)
    {
        const StorageChoice choice = ChoiceOf(file);
        counts[TreeReader::FlagsOf(choice.storage, choice.compression)] += file.size != 0 ? 1U : 0U;
    }
    const auto usual = std::max_element(counts.begin(), counts.end(),
                                        [](const auto &left, const auto &right)
                                        {
                                            return left.second < right.second;
                                        });
    if (usual != counts.end())
    {
        mUsual = StorageChoice{TreeReader::StorageOf(usual->first), TreeReader::CompressionOf(usual->first)};
    }
}

StorageChoice ChoiceOf(const ReleaseFile &file)
{
    return {TreeReader::StorageOf(file.flags), TreeReader::CompressionOf(file.flags)};
}
} // namespace Keld::TreeWriter
