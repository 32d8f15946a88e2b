// A release manifest: load it, and where it is good make its listing and ask for every entry. Files are found on disk
// only under names that begin with a '/', which replace the directories before them, so seeds have such names.

#include "FuzzSupport.h"
#include "KeldMorvIO/listing/ListingLayout.h"
#include "KeldMorvIO/listing/ProjectListing.h"
#include "KeldMorvIO/listing/ReleaseManifest.h"

#include <memory>
#include <stdexcept>

namespace
{
using namespace Keld;
using MORV::Reader::ProjectListing;
using MORV::Reader::ReleaseManifest;

std::unique_ptr<const ReleaseManifest> Load(const Fuzz::MemoryFile &file)
{
    try
    {
        return std::unique_ptr<const ReleaseManifest>(ReleaseManifest::Load(file.Path().c_str()));
    }
    catch (const std::length_error &)
    {
        return nullptr; // the way in which a string count beyond all bounds is refused
    }
}

void Walk(const ProjectListing &listing, const ProjectListing::FileEntry *directory, int depth)
{
    for (ProjectListing::DirectoryIterator iterator(directory); iterator.IsValid(); iterator.Next())
    {
        const ProjectListing::FileEntry *const entry = iterator.GetEntry();
        Fuzz::Require(ProjectListing::GetOwner(entry) == &listing, "an entry knows its listing");
        const std::string path = ProjectListing::GetFilePath(entry);
        Fuzz::Require(path.size() == ProjectListing::GetPathLength(entry) || path.empty(), "a path has its length");
        listing.FindEntry(path.c_str());
        if (iterator.IsDirectory() && depth < 64)
        {
            Walk(listing, entry, depth + 1);
        }
    }
}
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const Keld::uint8 *data, std::size_t size)
{
    Fuzz::SilenceLog();
    const Fuzz::MemoryFile file(data, size);
    const std::unique_ptr<const ReleaseManifest> manifest = Load(file);
    if (manifest == nullptr || !manifest->IsValid())
    {
        return 0;
    }
    const std::unique_ptr<const ProjectListing> listing(manifest->CreateListing("/nowhere"));
    if (listing == nullptr)
    {
        return 0;
    }
    const ProjectListing::FileEntry *const root = listing->FindEntry("");
    if (root != nullptr) // which it is where the manifest gives the root directory a name
    {
        Walk(*listing, root, 0);
    }
    listing->FindEntry("no/such/name");
    return 0;
}
