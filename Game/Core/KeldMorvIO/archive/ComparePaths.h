#pragma once

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/FoldWord.h"

namespace Keld::MORV::Reader
{
/// Negative, 0 or positive, without regard to case, as std_stricmp. Skips what both begin with as it stands.
/// \param commonSize how many bytes both have.
inline int ComparePaths(const char *left, const char *right, uint_size commonSize)
{
    uint_size at = 0;
    while (at + sizeof(uint64) <= commonSize && LoadWord(left + at) == LoadWord(right + at))
    {
        at += sizeof(uint64);
    }
    return std_stricmp(left + at, right + at);
}
} // namespace Keld::MORV::Reader
