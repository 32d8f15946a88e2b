#pragma once

#include "KeldMorvIO/listing/NameOrder.h"

#include <algorithm>
#include <vector>

namespace Keld::MORV::Reader
{
/// Where names stand that are equal but for their case is up to std::sort, which puts them in no order but always in
/// the same one. It asks only which of two records comes first, so that it gives the same order whatever it moves.
enum class NameSort
{
    Ascending,         ///< as sorting in ascending order leaves them
    ReversedDescending ///< as sorting in descending order and turning round leaves them
};

/// The positions of names, given by their indices, in the order in which a sort leaves them.
std::vector<uint32> SortNames(const NameOrder &names, const std::vector<uint32> &nameIndices, NameSort sort);

/// Whether each name comes before the next. Such a row is what a sort would make of it.
template <class Record>
bool NamesAscend(const NameOrder &names, const Record *records, uint32 count)
{
    for (uint32 index = 1; index < count; ++index)
    {
        if (!names.ComesBefore(records[index - 1].nameIndex, records[index].nameIndex))
        {
            return false;
        }
    }
    return true;
}

/// Sorts records by their names.
template <class Record>
void SortByName(const NameOrder &names, Record *records, uint32 count, NameSort sort)
{
    if (NamesAscend(names, records, count))
    {
        return;
    }
    std::vector<uint32> nameIndices;
    nameIndices.reserve(count);
    for (uint32 index = 0; index < count; ++index)
    {
        nameIndices.push_back(records[index].nameIndex);
    }
    std::vector<Record> sorted;
    sorted.reserve(count);
    for (const uint32 position : SortNames(names, nameIndices, sort))
    {
        sorted.push_back(records[position]);
    }
    std::copy(sorted.begin(), sorted.end(), records);
}
} // namespace Keld::MORV::Reader
