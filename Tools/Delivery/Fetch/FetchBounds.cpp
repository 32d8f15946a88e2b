#include "Tools/Delivery/Fetch/FetchBounds.h"

#include "Tools/TreeReader/Census.h"
#include "Tools/TreeReader/TreeError.h"
#include "Tools/TreeWriter/DirectoryProtection.h"

#include <filesystem>
#include <system_error>
#include <unordered_set>

#include <sys/statvfs.h>

namespace Keld::Delivery
{
using TreeReader::TreeError;

void RequireDiskRoom(const std::string &root, uint64 needed)
{
    struct statvfs status = {};
    if (statvfs(root.c_str(), &status) != 0)
    {
        return; // the disk will tell when it is full
    }
    const uint64 room = uint64{status.f_bavail} * status.f_frsize;
    if (needed > room)
    {
        throw TreeError("the disk of " + root + " has room for " + std::to_string(room) +
                        " bytes, and the release needs " + std::to_string(needed) + " more");
    }
}

void RequireServed(const std::string &root, const WantedSet &wanted, unsigned threadCount)
{
    TreeReader::Tree tree(root);
    for (const auto &release : wanted.releases)
    {
        release->MakeKnown(tree);
    }
    const auto view = TreeReader::View::Open(tree, wanted.name);
    if (!view)
    {
        throw TreeError(view.GetFault().GetMessage());
    }
    const TreeReader::Census census = TreeReader::TakeCensus(*view, threadCount);
    if (census.missing != 0)
    {
        throw TreeError(census.GetSummary());
    }
}

bool HasAllListed(const std::string &root, const SourceProof &proof, const std::vector<std::string> &coming)
{
    const std::unordered_set<std::string> paths(coming.begin(), coming.end());
    return proof.HoldsForAll(
        [&](const ShippedFile &file)
        {
            std::error_code error;
            return paths.contains(file.path) ||
                   (std::filesystem::file_size(root + "/" + file.path, error) == file.size && !error);
        });
}

void ProtectArchives(const std::string &root, const WantedRelease &wanted)
{
    for (const MorvVersion version : wanted.GetRelease().GetArchiveVersions())
    {
        const std::string directory = root + "/" + wanted.GetArchivesPath(version);
        if (!TreeWriter::IsProtected(directory))
        {
            TreeWriter::Protect(directory);
        }
    }
}
} // namespace Keld::Delivery
