#include "KeldMorvIO/environment/SearchFilter.h"

// Each path marks two cells with the bit of its listing's group, and a listing can hold a path if both cells have its
// bit. Both lie in one line of the cache, so that a look costs one access to memory.
namespace Keld::MORV::Reader
{
namespace
{
constexpr uint32 LineBits = 6; ///< 64 cells in a line

/// Spreads a hash over all bits: those of short paths differ in few of them.
constexpr uint32 Spread(uint32 hash)
{
    const uint32 spread = (hash ^ hash >> 15) * 0x2C1B3C6Du;
    return (spread ^ spread >> 12) * 0x297A2D39u;
}

struct CellPair
{
    uint_size first;
    uint_size second;
};

constexpr CellPair CellsOf(uint32 hash, uint32 lineShift)
{
    constexpr uint32 cellMask = (1u << LineBits) - 1;
    const uint32 spread = Spread(hash);
    const uint_size line = (uint64{spread} >> lineShift) << LineBits;
    return {line + (spread & cellMask), line + (spread >> LineBits & cellMask)};
}
} // namespace

SearchFilter::SearchFilter(const std::vector<ProjectListing *> &listings)
{
    if (listings.size() < 2)
    {
        return;
    }
    uint_size pathCount = 0;
    for (const ProjectListing *const listing : listings)
    {
        pathCount += listing->GetSlots().size();
    }
    uint32 lineCountBits = 0;
    while (uint_size{1} << (lineCountBits + LineBits) < pathCount)
    {
        ++lineCountBits;
    }
    mCells.resize(uint_size{1} << (lineCountBits + LineBits));
    mLineShift = 32 - lineCountBits;
    for (uint_size index = 0; index < listings.size(); ++index)
    {
        const auto group = static_cast<Cell>(1u << index % GroupCount);
        mAlways = static_cast<Cell>(mAlways | (listings[index]->DoHashesDecide() ? 0 : group));
        for (const HashSlot &slot : listings[index]->GetSlots())
        {
            Add(slot.mHash, group);
        }
    }
}

SearchFilter::Candidates SearchFilter::Find(uint32 pathHash) const
{
    if (mCells.empty())
    {
        return Candidates(~0u);
    }
    const CellPair cells = CellsOf(pathHash, mLineShift);
    return Candidates((mCells[cells.first] & mCells[cells.second]) | mAlways);
}

void SearchFilter::Add(uint32 pathHash, Cell group)
{
    const CellPair cells = CellsOf(pathHash, mLineShift);
    mCells[cells.first] = static_cast<Cell>(mCells[cells.first] | group);
    mCells[cells.second] = static_cast<Cell>(mCells[cells.second] | group);
}
} // namespace Keld::MORV::Reader
