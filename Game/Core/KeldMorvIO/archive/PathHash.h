#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <cstring>

// A hash of paths without regard to ASCII case, for tables in memory alone: eight bytes at a time, and well spread, as
// HashName is not. It is no part of any format. A path is hashed in two parts, so that the files of a directory share
// the work for the first: all up to and with the last '/', and the name behind it.
namespace Keld::MORV::Reader
{
namespace PathHashDetail
{
inline constexpr uint64 Multiplier = 0x9E3779B97F4A7C15;

/// Eight bytes at once, 'A' to 'Z' as lower case.
inline uint64 FoldWord(uint64 word)
{
    constexpr uint64 everyTopBit = 0x8080808080808080;
    const uint64 low = word & ~everyTopBit;
    const uint64 fromA = low + 0x3F3F3F3F3F3F3F3F;  // the top bit of each byte: 'A' or above
    const uint64 aboveZ = low + 0x2525252525252525; // the top bit of each byte: above 'Z'
    return word | (((fromA ^ aboveZ) & ~word & everyTopBit) >> 2);
}

inline uint64 LoadWord(const char *bytes, uint_size size)
{
    uint64 word = 0;
    std::memcpy(&word, bytes, size);
    return word;
}

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
        state = Step(state, LoadWord(text + at, sizeof(uint64)));
    }
    if (at == length)
    {
        return state;
    }
    // The rest, with bytes once more that were there already where that makes a whole word.
    return length >= sizeof(uint64) ? Step(state, LoadWord(text + length - sizeof(uint64), sizeof(uint64)))
                                    : Step(state, LoadWord(text, length));
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
    return HashWholePath(path, std::strlen(path));
}
} // namespace Keld::MORV::Reader
