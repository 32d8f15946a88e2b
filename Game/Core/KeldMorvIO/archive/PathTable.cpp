#include "KeldMorvIO/archive/PathTable.h"

#include "KeldFoundation/CStd/CStd.h"
#include "KeldMorvIO/archive/ComparePaths.h"
#include "KeldMorvIO/archive/PathHash.h"

#include <algorithm>
#include <array>

namespace Keld::MORV::Reader
{
namespace
{
constexpr uint_size FetchedAheadCount = 16;
constexpr uint_size PathFetchDistance = 48; // from the start of a path to the line of the cache that it mostly ends in

/// How far from its home a record may stand, so that an index whose records all have one home takes no longer than any
/// other. Forty million paths stand less than 130 slots away, and where each is in sixteen archives, less than 2,000.
constexpr uint_size MostSteps = 2048;

/// No path that is looked up is longer.
constexpr uint_size LongestPath = 8192;

/// The paths of neighbours lie far apart where they were not written in the order of the records.
void FetchRecordsBehind(const ArchiveFile &archive, uint32 index)
{
    constexpr uint32 pathDistance = 8;
    constexpr uint32 entryDistance = 2 * pathDistance;
    const uint32 count = archive.GetEntryCount();
    if (index + entryDistance < count)
    {
        archive.FetchPathEntry(index + entryDistance);
    }
    if (index + pathDistance < count)
    {
        __builtin_prefetch(archive.GetEntryPath(index + pathDistance));
    }
}

uint64 CountRecords(const std::vector<const ArchiveFile *> &archives)
{
    uint64 count = 0;
    for (const ArchiveFile *const archive : archives)
    {
        count += archive->GetEntryCount();
    }
    return count;
}
} // namespace

PathTable::PathTable(const std::vector<const ArchiveFile *> &archives) : mArchives(archives)
{
    const uint64 count = CountRecords(archives);
    if (count == 0 || count >= Slot::Empty)
    {
        return;
    }
    mSlots.assign(static_cast<uint_size>(count + count / 2 + 1), Slot());
    uint32 first = 0;
    for (const ArchiveFile *const archive : mArchives)
    {
        mFirstRecords.push_back(first);
        if (!Add(*archive, first))
        {
            LargeVector<Slot>().swap(mSlots);
            return;
        }
        first += archive->GetEntryCount();
    }
}

// False for an index that a binary search need not search as this table does: it is out of order, or has records of all
// names or of none. False too where paths are longer together than the file, since many share one: to read each would
// take too long. And false where a record finds no place near its home.
bool PathTable::Add(const ArchiveFile &archive, uint32 firstRecord)
{
    const uint32 count = archive.GetEntryCount();
    uint_size room = archive.GetImageSize();
    uint32 lastHash = 0;
    std::array<Slot, FetchedAheadCount> waiting; // until their places in the table have been fetched
    uint_size waitingCount = 0;
    const char *lastPath = "";
    uint_size lastLength = 0;
    for (uint32 index = 0; index < count; ++index)
    {
        FetchRecordsBehind(archive, index);
        const uint32 hash = archive.GetEntry(index)->hash;
        const char *const path = archive.GetEntryPath(index);
        const uint_size length = path != nullptr ? std_strnlen(path, LongestPath + 1) : room;
        const bool isUsual = path != nullptr && length <= LongestPath && length < room && hash >= lastHash;
        if (!isUsual || (hash == lastHash && ComparePaths(lastPath, path, std::min(lastLength, length)) > 0))
        {
            return false;
        }
        waiting[waitingCount] = {HashWholePath(path, length), firstRecord + index};
        __builtin_prefetch(&mSlots[HomeOf(waiting[waitingCount].pathHash)], 1);
        ++waitingCount;
        if (waitingCount == waiting.size() || index + 1 == count)
        {
            const auto ready = std::span(waiting).first(waitingCount);
            const bool areAllIn = std::all_of(ready.begin(), ready.end(),
                                              [this](const Slot &record)
                                              {
                                                  return Insert(record);
                                              });
            if (!areAllIn)
            {
                return false;
            }
            waitingCount = 0;
        }
        room -= length;
        lastHash = hash;
        lastPath = path;
        lastLength = length;
    }
    return true;
}

bool PathTable::Insert(const Slot &record)
{
    uint_size slot = HomeOf(record.pathHash);
    for (uint_size steps = 0; steps < MostSteps; ++steps, slot = Behind(slot))
    {
        if (mSlots[slot].record == Slot::Empty)
        {
            mSlots[slot] = record;
            return true;
        }
    }
    return false;
}

// Of records with one path, those of the first archive were inserted first, and so are met first.
const ArchiveFile *PathTable::Find(ArchivePath &path, uint32 nameHash, uint32 pathHash, uint32 &offset,
                                   uint32 &size) const
{
    uint_size slot = HomeOf(pathHash);
    for (uint_size steps = 0; steps < MostSteps && mSlots[slot].record != Slot::Empty; ++steps, slot = Behind(slot))
    {
        if (mSlots[slot].pathHash != pathHash)
        {
            continue;
        }
        const Place place = PlaceOf(mSlots[slot].record);
        if (place.archive->GetEntry(place.index)->hash == nameHash &&
            place.archive->HasPath(place.index, path.GetPath().c_str()) &&
            place.archive->GetRange(place.index, offset, size))
        {
            return place.archive;
        }
    }
    return nullptr;
}

// Each lookup touches four places far from each other, and what stands in one tells where the next one is. Side by side
// the lookups wait for memory once, and not each for itself.
void PathTable::FetchAhead(std::span<const uint32> pathHashes) const
{
    const auto wanted = pathHashes.first(std::min(pathHashes.size(), FetchedAheadCount));
    for (const uint32 pathHash : wanted)
    {
        __builtin_prefetch(&mSlots[HomeOf(pathHash)]);
    }
    std::array<Place, FetchedAheadCount> places;
    uint_size placeCount = 0;
    for (const uint32 pathHash : wanted)
    {
        uint_size slot = HomeOf(pathHash);
        for (uint_size steps = 0;
             steps < MostSteps && mSlots[slot].record != Slot::Empty && mSlots[slot].pathHash != pathHash; ++steps)
        {
            slot = Behind(slot);
        }
        if (mSlots[slot].record != Slot::Empty)
        {
            places[placeCount] = PlaceOf(mSlots[slot].record);
            __builtin_prefetch(places[placeCount].archive->GetEntry(places[placeCount].index));
            ++placeCount;
        }
    }
    const auto found = std::span(places).first(placeCount);
    for (const Place &place : found)
    {
        place.archive->FetchPathEntry(place.index);
    }
    for (const Place &place : found)
    {
        const char *const path = place.archive->GetEntryPath(place.index);
        __builtin_prefetch(path);
        __builtin_prefetch(path + PathFetchDistance);
    }
}

PathTable::Place PathTable::PlaceOf(uint32 record) const
{
    const auto behind = std::upper_bound(mFirstRecords.begin() + 1, mFirstRecords.end(), record);
    const auto archive = static_cast<uint_size>(behind - mFirstRecords.begin()) - 1;
    return {mArchives[archive], record - mFirstRecords[archive]};
}
} // namespace Keld::MORV::Reader
