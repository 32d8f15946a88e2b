#include "KeldMorvIO/listing/NameOrder.h"

#include "KeldFoundation/CStd/CStd.h"

#include <algorithm>

namespace Keld::MORV::Reader
{
NameOrder::NameOrder(const std::vector<const char *> &strings) : mStrings(strings)
{
    std::vector<uint32> longStrings;
    for (uint32 index = 0; index < mStrings.size(); ++index)
    {
        if (std_strnlen(mStrings[index], ComparedSize) == ComparedSize)
        {
            longStrings.push_back(index);
        }
    }
    if (longStrings.empty())
    {
        return;
    }
    // A merge sort reads each text about once per round, whatever the texts are.
    std::stable_sort(longStrings.begin(), longStrings.end(),
                     [this](uint32 lhs, uint32 rhs)
                     {
                         return std_stricmp(mStrings[lhs], mStrings[rhs]) < 0;
                     });
    mRanks.resize(mStrings.size());
    for (uint32 rank = 0; rank < longStrings.size(); ++rank)
    {
        mRanks[longStrings[rank]] = rank;
    }
}

bool NameOrder::ComesBefore(uint32 lhs, uint32 rhs) const
{
    const int order = std_strnicmp(mStrings[lhs], mStrings[rhs], ComparedSize);
    if (order != 0)
    {
        return order < 0;
    }
    return !mRanks.empty() && mRanks[lhs] < mRanks[rhs];
}
} // namespace Keld::MORV::Reader
