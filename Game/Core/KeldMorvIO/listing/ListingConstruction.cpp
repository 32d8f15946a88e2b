#include "KeldMorvIO/listing/ListingConstruction.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/ReaderLog.h"
#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/listing/ArchiveFilesGuard.h"
#include "KeldMorvIO/listing/FileLocation.h"
#include "KeldMorvIO/listing/ListingBlock.h"
#include "KeldMorvIO/listing/ListingFiller.h"

#include <utility>

// From a manifest to a listing: every file is looked for once, those that are not found are dropped, and what stays is
// copied into one block of exactly the size that it needs. Manifest and archive indexes can go at once afterwards.
namespace Keld::MORV::Reader
{
namespace
{
// Numbers the kept files in the manifest's order. Where all are kept, they have their numbers already.
void BuildFileRemap(uint32 fileCount, const std::vector<uint32> &missing, std::vector<uint32> &remap)
{
    if (missing.empty())
    {
        return;
    }
    remap.resize(fileCount);
    uint32 keptCount = 0;
    uint_size cursor = 0;
    for (uint32 index = 0; index < remap.size(); ++index)
    {
        if (cursor < missing.size() && index == missing[cursor])
        {
            remap[index] = DroppedFileMark;
            ++cursor;
        }
        else
        {
            remap[index] = keptCount;
            ++keptCount;
        }
    }
}

// Copies all of the string data, also what stands behind the last string that a record refers to.
void CopyStrings(const ManifestTables &manifest, char *destination)
{
    const uint32 size = manifest.GetStringDataSize();
    std_memcpy(destination, size, manifest.GetStringData(), size);
}
} // namespace

ProjectListing *ConstructListing(const ManifestTables &manifest, const char *root)
{
    char projectRoot[PathBufferSize] = {};
    if (!DiskPaths::GetProjectRoot(projectRoot, sizeof projectRoot, root, manifest.GetProjectName()))
    {
        LogError("%s: Failed to create project listing because the project root could not be obtained.",
                 CreateListingSignature);
        return nullptr;
    }

    ListingSources sources;
    ArchiveFilesGuard archiveFiles(sources.metadata);
    LocateFiles(manifest, root, projectRoot, sources.metadata, sources.missing, sources.parents, sources.handles);
    BuildFileRemap(manifest.GetFileCount(), sources.missing, sources.remap);
    if (manifest.GetFileCount() == sources.missing.size())
    {
        return nullptr; // every missing file has its line already
    }

    const auto keptCount = static_cast<uint32>(manifest.GetFileCount() - sources.missing.size());
    const uint32 bucketCount = HashEntries(manifest, sources.missing.size(), sources.entries);
    const ListingCounts counts{manifest.GetDirectoryCount(), keptCount, bucketCount, sources.handles,
                               manifest.GetStringDataSize()};
    ListingLayout layout{};
    if (!ComputeListingLayout(counts, layout))
    {
        LogError("%s: Failed to create project listing because the data was smaller than expected.",
                 CreateListingSignature);
        return nullptr;
    }

    ListingBlock block(layout.mSize);
    const ListingRegions regions(block.GetData(), layout);
    CopyStrings(manifest, regions.mStrings);
    ListingFiller(manifest, sources, regions, counts).Fill();
    auto *const listing = new ProjectListing(projectRoot);
    listing->Adopt(std::move(block), regions);
    archiveFiles.Release();
    return listing;
}
} // namespace Keld::MORV::Reader
