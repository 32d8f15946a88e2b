#pragma once

#include "KeldMorvIO/listing/ProjectListing.h"

#include <vector>

namespace Keld::MORV::Reader
{
/// Tells from a path's hash which listings of a solution can hold the path, so that a path which none of them holds is
/// not searched for in each. A path that a listing holds is never missed; a few others are let through.
class SearchFilter
{
public:
    /// \param listings borrowed for the construction alone. With less than two there is nothing to tell apart, and the
    ///                 filter takes no memory.
    explicit SearchFilter(const std::vector<ProjectListing *> &listings);

    /// The listings that can hold a path.
    class Candidates
    {
    public:
        explicit Candidates(uint32 groups) : mGroups(groups) {}
        bool Has(uint_size listingIndex) const { return (mGroups >> listingIndex % GroupCount & 1) != 0; }

    private:
        uint32 mGroups;
    };

    Candidates Find(uint32 pathHash) const;

private:
    /// A listing's group is its index, modulo this. Each cell has a bit for each group.
    static constexpr uint32 GroupCount = 8;
    using Cell = uint8;

    void Add(uint32 pathHash, Cell group);

    std::vector<Cell> mCells;
    uint32 mLineShift = 0; ///< from the spread hash to the line that holds both cells of a path
    Cell mAlways = 0;      ///< groups of the listings in which hashes do not decide
};
} // namespace Keld::MORV::Reader
