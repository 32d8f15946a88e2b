#include "Oracle/ArchiveRules.h"

#include "Oracle/PathRules.h"
#include "Oracle/ReleaseManifestRules.h"
#include "Support/ArchiveImage.h"

namespace Keld::Test::Oracle
{
VersionArchives::VersionArchives(Disk &disk, const std::string &directory)
{
    for (const std::string &name : Disk::NamesLike(directory + "/*.vka"))
    {
        const std::string path = directory + "/" + name;
        const Disk::Content bytes = disk.Find(path);
        if (bytes == nullptr)
        {
            continue; // a link that leads nowhere: neither read nor removed
        }
        std::optional<Index> index = ReadIndex(*bytes);
        if (IsOfNoUse(index))
        {
            disk.Forget(path);
            continue;
        }
        index->dataFile = name + ".dat";
        mIndexes.push_back(*index);
    }
}

bool VersionArchives::IsOfNoUse(const std::optional<Index> &index)
{
    std::uint32_t total = 0;
    if (index)
    {
        for (const Record &record : index->records)
        {
            total += record.size;
        }
    }
    return total == 0;
}

// Everything that the header points at must lie in the file, with each path's end.
std::optional<VersionArchives::Index> VersionArchives::ReadIndex(const std::string &bytes)
{
    const std::size_t size = bytes.size();
    if (size < 20 || WordAt(bytes, 0) != 0x18BE0EF0 || WordAt(bytes, 4) != 1)
    {
        return std::nullopt;
    }
    const std::size_t files = WordAt(bytes, 12);
    const std::size_t paths = WordAt(bytes, 16);
    if (files + 4 > size || paths + 8 > size)
    {
        return std::nullopt;
    }
    const std::size_t fileCount = WordAt(bytes, files);
    const std::size_t pathCount = WordAt(bytes, paths + 4);
    if (files + 4 + 16 * fileCount > size || paths + 8 + 8 * pathCount > size)
    {
        return std::nullopt;
    }
    Index index;
    for (std::size_t offset = files + 4; offset < files + 4 + 16 * fileCount; offset += 16)
    {
        index.records.push_back(
            {WordAt(bytes, offset), WordAt(bytes, offset + 4), WordAt(bytes, offset + 8), WordAt(bytes, offset + 12)});
    }
    for (std::size_t offset = paths + 8; offset < paths + 8 + 8 * pathCount; offset += 8)
    {
        const std::size_t start = paths + WordAt(bytes, offset);
        const std::size_t end = start < size ? bytes.find('\0', start) : std::string::npos;
        if (end == std::string::npos)
        {
            return std::nullopt;
        }
        index.paths.push_back(Folded(bytes.substr(start, end - start)));
    }
    return index;
}

std::optional<StoredRange> VersionArchives::Find(const std::string &path) const
{
    constexpr std::uint32_t anyPath = 0xFFFFFFFF;
    const std::uint32_t hash = ArchiveHash(path);
    const std::string folded = Folded(path);
    for (const Index &index : mIndexes)
    {
        for (const Record &record : index.records)
        {
            const bool hasPath = record.pathIndex < index.paths.size() && index.paths[record.pathIndex] == folded;
            if (record.hash == hash && (hasPath || record.pathIndex == anyPath))
            {
                return StoredRange{index.dataFile, record.offset, record.size};
            }
        }
    }
    return std::nullopt;
}
} // namespace Keld::Test::Oracle
