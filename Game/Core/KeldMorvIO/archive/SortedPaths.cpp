#include "KeldMorvIO/archive/SortedPaths.h"

#include "KeldMorvIO/ReaderTypes.h"
#include "KeldMorvIO/archive/ComparePaths.h"

#include <algorithm>

namespace Keld::MORV::Reader
{
namespace
{
constexpr uint32 NoRecord = 0xFFFFFFFF;

int ComparePathWith(const char *path, const char *wanted)
{
    return std_strcmp(path, wanted) == 0 ? 0 : std_stricmp(path, wanted); // it is mostly spelled alike
}

// Whether each path comes before the next. A path that no lookup can ask for is too long to be worth it; and where
// paths are longer together than the file, many share their texts, and to read each would take too long.
bool DoPathsAscend(const ArchiveFile &archive)
{
    uint_size room = archive.GetImageSize();
    const char *last = nullptr;
    uint_size lastLength = 0;
    for (uint32 index = 0; index < archive.GetPathCount(); ++index)
    {
        const char *const path = archive.GetPath(index);
        const uint_size length = std_strnlen(path, PathBufferSize);
        const bool isUsual = length < PathBufferSize && length < room;
        if (!isUsual || (last != nullptr && ComparePaths(last, path, std::min(lastLength, length)) >= 0))
        {
            return false;
        }
        room -= length;
        last = path;
        lastLength = length;
    }
    return true;
}
} // namespace

SortedPaths::SortedPaths(const std::vector<const ArchiveFile *> &archives)
{
    std::vector<Row> rows(archives.size());
    for (uint_size index = 0; index < archives.size(); ++index)
    {
        if (!ReadRow(*archives[index], rows[index]))
        {
            return;
        }
    }
    std::sort(rows.begin(), rows.end(),
              [](const Row &left, const Row &right)
              {
                  return std_stricmp(left.archive->GetPath(0), right.archive->GetPath(0)) < 0;
              });
    for (uint_size index = 1; index < rows.size(); ++index)
    {
        const Row &before = rows[index - 1];
        if (std_stricmp(before.archive->GetPath(before.count - 1), rows[index].archive->GetPath(0)) >= 0)
        {
            return;
        }
    }
    mRows.swap(rows);
}

// False where the paths or the records are not as they should be. Each path has one record; where the paths of one hash
// ascend with their places in the list, the records are sorted as a binary search needs them.
bool SortedPaths::ReadRow(const ArchiveFile &archive, Row &row)
{
    row.archive = &archive;
    row.count = archive.GetEntryCount();
    if (row.count == 0 || row.count != archive.GetPathCount())
    {
        return false;
    }
    row.records.assign(row.count, NoRecord);
    uint32 lastHash = 0;
    uint32 lastPath = 0;
    for (uint32 index = 0; index < row.count; ++index)
    {
        const ArchiveFileEntry &entry = *archive.GetEntry(index);
        const uint32 hash = entry.hash;
        const uint32 path = entry.pathIndex;
        const bool isInOrder = hash > lastHash || (hash == lastHash && (path > lastPath || index == 0));
        if (!isInOrder || path >= row.count || row.records[path] != NoRecord)
        {
            return false;
        }
        row.records[path] = index;
        lastHash = hash;
        lastPath = path;
    }
    return DoPathsAscend(archive);
}

const ArchiveFile *SortedPaths::Find(const std::string &path, uint32 nameHash, uint32 &offset, uint32 &size) const
{
    Place place = mNext.load(std::memory_order_relaxed);
    if (!HasPath(place, path.c_str()))
    {
        place = Search(path.c_str());
        if (!HasPath(place, path.c_str()))
        {
            return nullptr;
        }
    }
    const Row &row = mRows[place.row];
    const bool isLastOfRow = place.path + 1 == row.count;
    mNext.store(isLastOfRow ? Place{place.row + 1, 0} : Place{place.row, place.path + 1}, std::memory_order_relaxed);
    const uint32 record = row.records[place.path];
    const bool isFound = row.archive->GetEntry(record)->hash == nameHash && row.archive->GetRange(record, offset, size);
    return isFound ? row.archive : nullptr;
}

bool SortedPaths::HasPath(const Place &place, const char *path) const
{
    return place.row < mRows.size() && place.path < mRows[place.row].count &&
           ComparePathWith(mRows[place.row].archive->GetPath(place.path), path) == 0;
}

// Where the path stands if it is there at all.
SortedPaths::Place SortedPaths::Search(const char *path) const
{
    const auto behind = std::upper_bound(mRows.begin(), mRows.end(), path,
                                         [](const char *wanted, const Row &row)
                                         {
                                             return std_stricmp(wanted, row.archive->GetPath(0)) < 0;
                                         });
    if (behind == mRows.begin())
    {
        return {0, 0};
    }
    const auto rowIndex = static_cast<uint32>(behind - mRows.begin()) - 1;
    const Row &row = mRows[rowIndex];
    uint32 first = 0;
    for (uint32 count = row.count; count > 1;)
    {
        const uint32 half = count / 2;
        first += std_stricmp(row.archive->GetPath(first + half), path) <= 0 ? half : 0;
        count -= half;
    }
    return {rowIndex, first};
}
} // namespace Keld::MORV::Reader
