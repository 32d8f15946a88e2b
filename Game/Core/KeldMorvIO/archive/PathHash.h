#pragma once

#include "KeldFoundation/CStd/CStd.h"
#include "KeldFoundation/CStd/FoldWord.h"

// A hash of paths without regard to ASCII case, for tables in memory alone: eight bytes at a time, and well spread, as
// HashName is not. It is no part of any format. A path is hashed in two parts, so that the files of a directory share
// the work for the first: all up to and with the last '/', and the name behind it.
namespace Keld::MORV::Reader
{
namespace PathHashDetail
{
inline constexpr uint64 Multiplier = 0x9E3779B97F4A7C15;

inline uint64 Step(uint64 state, uint64 word)
{
    const uint64 product = (state ^ FoldWord(word)) * Multiplier;
    return product ^ product >> 32;
}
} // namespace PathHashDetail

/// Of one of the two parts.
inline uint64 HashPathPart(const char *text, uint_size length)
{
    using namespace PathHashDetail;
    uint64 state = length * Multiplier;
    uint_size at = 0;
    for (; at + sizeof(uint64) <= length; at += sizeof(uint64))
    {
        state = Step(state, LoadWord(text + at));
    }
    if (at == length)
    {
        return state;
    }
    if (length >= sizeof(uint64))
    {
        return Step(state, LoadWord(text + length - sizeof(uint64))); // with bytes that were there before
    }
    return Step(state, LoadPartOfWord(text, length));
}

inline uint32 JoinPathHashes(uint64 directory, uint64 name)
{
    return static_cast<uint32>(PathHashDetail::Step(directory, name ^ name >> 29) >> 32);
}

/// Of a whole path.
inline uint32 HashWholePath(const char *path, uint_size length)
{
    uint_size nameBegin = length;
    while (nameBegin != 0 && path[nameBegin - 1] != '/')
    {
        --nameBegin;
    }
    return JoinPathHashes(HashPathPart(path, nameBegin), HashPathPart(path + nameBegin, length - nameBegin));
}

inline uint32 HashWholePath(const char *path)
{
    return HashWholePath(path, std_strlen(path));
}
} // namespace Keld::MORV::Reader
