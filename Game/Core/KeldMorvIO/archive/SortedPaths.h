#pragma once

#include "KeldFoundation/CStd/LargeVector.h"
#include "KeldMorvIO/archive/ArchiveFile.h"

#include <atomic>
#include <string>
#include <vector>

namespace Keld::MORV::Reader
{
/// Finds a path among the records of all archives of a version where their path lists are in order: each list ascends
/// without regard to case, and the archives can be put in a row in which their lists ascend too. Whoever looks paths up
/// in that order finds each behind the one before.
///
/// It gives what asking archive after archive gives. Where it is not known that each index is sorted as it should be,
/// or where a path stands twice, nothing is known, and the archives have to be asked.
class SortedPaths
{
public:
    /// The archives must stay as they are for as long as this is asked.
    explicit SortedPaths(const std::vector<const ArchiveFile *> &archives);

    bool IsKnown() const { return !mRows.empty(); }

    /// The archive that gives a range for the path, or null. Only while known.
    /// \param nameHash the path's HashName.
    const ArchiveFile *Find(const std::string &path, uint32 nameHash, uint32 &offset, uint32 &size) const;

private:
    /// The paths of one archive.
    struct Row
    {
        const ArchiveFile *archive;
        uint32 count;
        LargeVector<uint32> records; ///< by path index
    };

    /// Aligned as one number, so that every compiler reads and writes it in one step.
    struct alignas(uint64) Place
    {
        uint32 row;
        uint32 path;
    };

    static bool ReadRow(const ArchiveFile &archive, Row &row);
    Place Search(const char *path) const;
    bool HasPath(const Place &place, const char *path) const;

    std::vector<Row> mRows; ///< ascending by their paths

    /// Where the next lookup looks first: a guess, and so in no order with other memory.
    mutable std::atomic<Place> mNext = Place{0, 0};
};
} // namespace Keld::MORV::Reader
