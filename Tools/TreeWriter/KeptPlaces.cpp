#include "Tools/TreeWriter/KeptPlaces.h"

#include "Tools/TreeReader/DirectoryVisit.h"
#include "Tools/TreeReader/DiskFile.h"
#include "Tools/TreeReader/ReleaseParts.h"
#include "Tools/TreeReader/TreeError.h"

#include "KeldMorvIO/TreeWords.h"

#include <cerrno>
#include <filesystem>

namespace Keld::TreeWriter
{
namespace fs = std::filesystem;
using TreeReader::ReleaseName;
using TreeReader::TreeError;

namespace
{
/// What an index that cannot be read holds, nobody knows.
void RequireReadableArchives(const TreeReader::Release &release)
{
    for (const MorvVersion version : release.GetArchiveVersions())
    {
        const TreeReader::VersionArchives &archives = release.GetArchives(version);
        if (!archives.GetFaults().empty())
        {
            throw TreeError(
                "release " + FormatVersion(release.GetVersion()) + " of " + release.GetProject() +
                " is to be kept, but what it needs cannot be told: " + archives.GetFaults().front().GetMessage());
        }
    }
}
} // namespace

std::string SettlePath(const std::string &path)
{
    std::error_code error;
    const fs::path settled = fs::canonical(path, error);
    if (error && error.value() != ELOOP)
    {
        RequireNoDoubt(TreeReader::ExplainSystemError(path, error.value()));
    }
    return error ? "" : settled.string();
}

std::string PathOf(const ReleaseName &release)
{
    return ReleasesOf(release.isSolution, release.name) + "/" + FormatVersion(release.version);
}

std::string ReleasesOf(bool isSolution, const std::string &name)
{
    return std::string(isSolution ? MORV::Reader::SolutionsDirectory : MORV::Reader::ProjectsDirectory) + "/" + name +
           "/" + MORV::Reader::ReleasesDirectory;
}

void KeptPlaces::Add(const std::string &path)
{
    mPlaces.insert(PlaceOf(path));
    if (std::string settled = SettlePath(mRoot + "/" + path); !settled.empty())
    {
        mPlaces.insert(std::move(settled));
    }
}

void KeptPlaces::AddParts(const TreeReader::View &view, unsigned threadCount)
{
    for (const TreeReader::Layer &layer : view.GetLayers())
    {
        RequireReadableArchives(*layer.release);
        Add(PathOf({false, layer.project, layer.version}));
    }
    const ReleaseName &name = view.GetName();
    if (name.isSolution)
    {
        Add(PathOf(name));
    }
    const TreeReader::ReleaseParts gathered = GatherParts(view, mRoot, threadCount);
    if (!gathered.doubts.empty())
    {
        throw TreeError(name.GetText() +
                        " is to be kept, but what it needs cannot be told: " + gathered.doubts.front().GetMessage());
    }
    for (const TreeReader::ReleasePart &part : gathered.parts)
    {
        Add(part.path);
    }
}

bool KeptPlaces::Holds(const std::string &path) const
{
    return mPlaces.count(PlaceOf(path)) != 0;
}

/// Where the name itself stands, whatever it is.
std::string KeptPlaces::PlaceOf(const std::string &path) const
{
    const std::string full = mRoot + "/" + path;
    const std::size_t slash = full.rfind('/');
    const auto [directory, isNew] = mDirectories.try_emplace(full.substr(0, slash));
    if (isNew)
    {
        directory->second = SettlePath(directory->first);
    }
    return (directory->second.empty() ? directory->first : directory->second) + full.substr(slash);
}
} // namespace Keld::TreeWriter
