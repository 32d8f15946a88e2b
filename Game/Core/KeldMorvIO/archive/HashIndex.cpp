#include "KeldMorvIO/archive/HashIndex.h"

#include <algorithm>
#include <bit>

namespace Keld::MORV::Reader
{
namespace
{
// Ranges up to this length are looked through from the start.
constexpr uint32 ShortRange = 8;

struct ByHash
{
    bool operator()(const ArchiveFileEntry &record, uint32 hash) const { return record.hash < hash; }
    bool operator()(uint32 hash, const ArchiveFileEntry &record) const { return hash < record.hash; }
};
} // namespace

void HashIndex::Build(const ArchiveFileEntry *records, uint32 count)
{
    mRecords = records;
    mCount = count;
    mStarts.clear();
    if (count != 0 && IsAscending())
    {
        MarkStarts();
    }
}

bool HashIndex::IsAscending() const
{
    return std::is_sorted(mRecords, mRecords + mCount,
                          [](const ArchiveFileEntry &left, const ArchiveFileEntry &right)
                          {
                              return left.hash < right.hash;
                          });
}

// About one record shares its top bits, where hashes are spread evenly. The highest hash tells how wide they are:
// those of names leave the uppermost four bits clear.
void HashIndex::MarkStarts()
{
    const uint32 highest = mRecords[mCount - 1].hash;
    const auto usedBits = static_cast<uint32>(std::bit_width(highest));
    const uint32 topBits = std::min(usedBits, static_cast<uint32>(std::bit_width(mCount)) - 1);
    mShift = usedBits - topBits;
    mStarts.reserve((uint_size{highest} >> mShift) + 2);
    for (uint32 index = 0; index < mCount; ++index)
    {
        const uint_size top = uint_size{mRecords[index].hash} >> mShift;
        if (top >= mStarts.size())
        {
            mStarts.resize(top + 1, index);
        }
    }
    mStarts.push_back(mCount);
}

HashIndex::Range HashIndex::Find(uint32 hash) const
{
    if (mStarts.empty())
    {
        return {0, mCount};
    }
    const uint_size top = uint_size{hash} >> mShift;
    if (top + 1 >= mStarts.size())
    {
        return {mCount, mCount};
    }
    const ArchiveFileEntry *first = mRecords + mStarts[top];
    const ArchiveFileEntry *end = mRecords + mStarts[top + 1];
    if (end - first > ShortRange)
    {
        const auto [low, high] = std::equal_range(first, end, hash, ByHash());
        return {static_cast<uint32>(low - mRecords), static_cast<uint32>(high - mRecords)};
    }
    while (first != end && first->hash < hash)
    {
        ++first;
    }
    const ArchiveFileEntry *last = first;
    while (last != end && last->hash == hash)
    {
        ++last;
    }
    return {static_cast<uint32>(first - mRecords), static_cast<uint32>(last - mRecords)};
}
} // namespace Keld::MORV::Reader
