#include "Tools/TreeWriter/BaseRelease.h"

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
    return TreeReader::ReadReleaseManifest(manifest);
}
} // namespace

BaseRelease::BaseRelease(const PackRequest &request, const TreePlaces &tree)
    : mContents(Load(request, tree)), mLocator(tree, request.project)
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

bool BaseRelease::CanBeKept(const ReleaseFile &file)
{
    return TreeReader::StorageOf(file.flags) != Storage::Naked && mLocator.Locate(file, mContents.release).found;
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
