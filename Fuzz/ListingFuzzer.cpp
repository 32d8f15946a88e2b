// A release manifest whose files really lie on the disk, in archives and plainly: make its listing, ask for every
// entry, open and read every file. The script's first line is the release's directory below "MORV".

#include "FuzzSupport.h"
#include "Trees/TreeCase.h"

#include "KeldMorvIO/listing/ProjectListing.h"
#include "KeldMorvIO/listing/ReleaseManifest.h"

#include <memory>
#include <stdexcept>

namespace
{
using namespace Keld;
using Fuzz::Require;
using MORV::Reader::ProjectListing;
using MORV::Reader::ReleaseManifest;

constexpr int DeepestDirectory = 16;
constexpr int MostEntries = 256;
constexpr uint32 LargestFile = 1 << 20; // bytes

std::unique_ptr<const ReleaseManifest> Load(const std::string &path)
{
    try
    {
        return std::unique_ptr<const ReleaseManifest>(ReleaseManifest::Load(path.c_str()));
    }
    catch (const std::length_error &)
    {
        return nullptr; // the way in which a string count beyond all bounds is refused
    }
}

class ListingWalk
{
public:
    explicit ListingWalk(ProjectListing &listing) : mListing(listing) {}

    void Walk(const ProjectListing::FileEntry *directory, int depth)
    {
        for (ProjectListing::DirectoryIterator at(directory); at.IsValid() && mEntriesLeft > 0; at.Next())
        {
            --mEntriesLeft;
            const ProjectListing::FileEntry *const entry = at.GetEntry();
            Require(ProjectListing::GetOwner(entry) == &mListing, "an entry knows its listing");
            const std::string path = ProjectListing::GetFilePath(entry);
            mListing.FindEntry(path.c_str());
            if (!at.IsDirectory())
            {
                Read(entry);
            }
            else if (depth < DeepestDirectory)
            {
                Require(!mListing.Open(entry), "a directory is not opened");
                Walk(entry, depth + 1);
            }
        }
    }

private:
    void Read(const ProjectListing::FileEntry *file)
    {
        const uint32 size = ProjectListing::GetFileSize(file);
        if (size > LargestFile || !mListing.Open(file))
        {
            return;
        }
        const std::unique_ptr<char[]> room(new char[size]);
        uint32 count = 0;
        const bool isRead = mListing.Read(file, 0, size, &count, room.get());
        Require(!isRead || count <= size, "no more comes than was asked for");
        Require(!isRead || mListing.GetContent(file) == nullptr || count == size, "a compressed file comes whole");
        mListing.Close(file);
    }

    ProjectListing &mListing;
    int mEntriesLeft = MostEntries;
};
} // namespace

extern "C" int LLVMFuzzerTestOneInput(const uint8 *data, std::size_t size)
{
    const Fuzz::TreeCase test(data, size);
    const std::string release = "MORV/" + test.GetLines()[0];
    if (const auto manifest = Load(test.GetDisk().GetPath(release + "/releasemanifest")))
    {
        const std::unique_ptr<ProjectListing> listing(manifest->CreateListing(test.GetDisk().GetPath("MORV").c_str()));
        if (listing != nullptr)
        {
            ListingWalk(*listing).Walk(listing->FindEntry(""), 0);
        }
    }
    return 0;
}
