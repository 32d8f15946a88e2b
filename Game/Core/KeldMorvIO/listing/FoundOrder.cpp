#include "KeldMorvIO/listing/FoundOrder.h"

#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

#include <algorithm>

namespace Keld::MORV::Reader
{
namespace
{
// The place of each group in the order. A group of archived files has the number of its handle.
class Groups
{
public:
    explicit Groups(const LargeVector<FileArchiveMetadata> &metadata)
    {
        for (const FileArchiveMetadata &record : metadata)
        {
            mLastHandle = std::max(mLastHandle, static_cast<uint32>(record.file));
        }
    }

    uint32 GetCount() const { return mLastHandle + 5; }
    uint32 GetMissing() const { return mLastHandle + 4; }

    uint32 GetGroup(const FileArchiveMetadata &record, uint32 position) const
    {
        if (record.fileIndex == MissingFileMark)
        {
            return GetMissing();
        }
        if (IsArchivedFile(record.flags))
        {
            return static_cast<uint32>(record.file);
        }
        if (IsManagedFile(record.flags))
        {
            return mLastHandle + 1;
        }
        const bool isOfNoDirectory = record.fileIndex != position;
        return isOfNoDirectory ? mLastHandle + 2 : mLastHandle + 3;
    }

private:
    uint32 mLastHandle = 0;
};

bool IsInOrder(const LargeVector<FileArchiveMetadata> &metadata, const Groups &groups)
{
    uint32 last = 0;
    for (uint32 position = 0; position < metadata.size(); ++position)
    {
        const uint32 group = groups.GetGroup(metadata[position], position);
        if (group < last)
        {
            return false;
        }
        last = group;
    }
    return true;
}

// Where the first record of each group goes.
std::vector<uint32> FindPlaces(const LargeVector<FileArchiveMetadata> &metadata, const Groups &groups)
{
    std::vector<uint32> places(groups.GetCount());
    for (uint32 position = 0; position < metadata.size(); ++position)
    {
        ++places[groups.GetGroup(metadata[position], position)];
    }
    uint32 place = 0;
    for (uint32 &group : places)
    {
        const uint32 count = group;
        group = place;
        place += count;
    }
    return places;
}
} // namespace

void OrderFound(LargeVector<FileArchiveMetadata> &metadata, std::vector<uint32> &missing)
{
    for (const uint32 index : missing)
    {
        metadata[index].fileIndex = MissingFileMark;
        metadata[index].flags = MissingFileMark;
    }
    std::sort(missing.begin(), missing.end());
    const Groups groups(metadata);
    if (IsInOrder(metadata, groups))
    {
        metadata.resize(metadata.size() - missing.size());
        return;
    }
    std::vector<uint32> places = FindPlaces(metadata, groups);
    LargeVector<FileArchiveMetadata> ordered(metadata.size() - missing.size());
    for (uint32 position = 0; position < metadata.size(); ++position)
    {
        const uint32 group = groups.GetGroup(metadata[position], position);
        if (group != groups.GetMissing())
        {
            ordered[places[group]] = metadata[position];
            ++places[group];
        }
    }
    metadata.swap(ordered);
}
} // namespace Keld::MORV::Reader
