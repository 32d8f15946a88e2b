#pragma once

#include "Oracle/Disk.h"

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace Keld::Test::Oracle
{
/// Where an archive holds a file: the data file's name, and the range in it.
struct StoredRange
{
    std::string dataFile;
    std::uint32_t offset = 0;
    std::uint32_t size = 0;
};

/// The archives of one version, in the disk's own order. Making it removes the index files that are of no use.
class VersionArchives
{
public:
    VersionArchives(Disk &disk, const std::string &directory);

    bool IsEmpty() const { return mIndexes.empty(); }

    /// The first archive that holds the path answers.
    std::optional<StoredRange> Find(const std::string &path) const;

private:
    struct Record
    {
        std::uint32_t hash;
        std::uint32_t offset;
        std::uint32_t size;
        std::uint32_t pathIndex;
    };

    struct Index
    {
        std::string dataFile;
        std::vector<Record> records;
        std::vector<std::string> paths;
    };

    static std::optional<Index> ReadIndex(const std::string &bytes);
    static bool IsOfNoUse(const std::optional<Index> &index);

    std::vector<Index> mIndexes;
};
} // namespace Keld::Test::Oracle
