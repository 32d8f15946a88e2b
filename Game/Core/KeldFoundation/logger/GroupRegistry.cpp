#include "KeldFoundation/logger/GroupRegistry.h"

#include "KeldFoundation/CStd/CStd.h"

namespace Keld::Logger
{
constinit GroupRegistry gGroupRegistry;

namespace
{
uint64 ToMask(uint32 index)
{
    return static_cast<uint64>(1) << index;
}
} // namespace

uint64 GroupRegistry::Register(const char *tag)
{
    if (tag == nullptr)
    {
        return 0;
    }
    const uint32 word = Pack(tag);
    uint32 highest = mHighestIndex.load(std::memory_order_acquire);
    for (uint32 index = 0; index <= highest; ++index)
    {
        if (mTags[index].load(std::memory_order_relaxed) == word)
        {
            return ToMask(index);
        }
    }
    do
    {
        if (highest + 1 >= Capacity)
        {
            return 0;
        }
    } while (!mHighestIndex.compare_exchange_weak(highest, highest + 1, std::memory_order_acq_rel));
    mTags[highest + 1].store(word, std::memory_order_relaxed);
    return ToMask(highest + 1);
}

char *GroupRegistry::FormatNames(char *buffer, uint_size size, uint64 mask) const
{
    if (size == 0)
    {
        return buffer;
    }
    char *const end = buffer + size;
    char *cursor = buffer;
    *cursor = '\0';
    for (uint32 index = 0; mask != 0 && end - cursor >= 2; ++index, mask >>= 1)
    {
        if ((mask & 1) == 0)
        {
            continue;
        }
        if (cursor != buffer)
        {
            *cursor++ = ';';
        }
        const uint32 word = mTags[index].load(std::memory_order_relaxed);
        const char tag[TagLength + 1] = {static_cast<char>(word & 0xFF), static_cast<char>(word >> 8 & 0xFF),
                                         static_cast<char>(word >> 16 & 0xFF), '\0'};
        std_strncpy(cursor, static_cast<uint_size>(end - cursor), word != 0 ? tag : "???", TRUNCATE);
        cursor += std_strlen(cursor);
    }
    return cursor;
}
} // namespace Keld::Logger
