#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <cstring>

namespace Keld
{
/// Eight bytes at once, 'A' to 'Z' as lower case and every other byte as it is: FoldCase for words.
constexpr uint64 FoldWord(uint64 word)
{
    constexpr uint64 everyTopBit = 0x8080808080808080;
    const uint64 low = word & ~everyTopBit;
    const uint64 fromA = low + 0x3F3F3F3F3F3F3F3F;  // the top bit of each byte: 'A' or above
    const uint64 aboveZ = low + 0x2525252525252525; // the top bit of each byte: above 'Z'
    return word | (((fromA ^ aboveZ) & ~word & everyTopBit) >> 2);
}

/// A word from anywhere, in the machine's byte order.
inline uint64 LoadWord(const char *bytes)
{
    uint64 word = 0;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// One of fewer bytes, filled up with zeros.
inline uint64 LoadPartOfWord(const char *bytes, uint_size size)
{
    uint64 word = 0;
    std::memcpy(&word, bytes, size);
    return word;
}
} // namespace Keld
