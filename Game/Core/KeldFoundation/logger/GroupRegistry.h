#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <array>
#include <atomic>

namespace Keld::Logger
{
/// The tags of the 64 log groups: bit n of a message's mask stands for the tag at index n. Calls may come from any
/// thread; none takes a lock.
class GroupRegistry
{
public:
    constexpr GroupRegistry() = default;

    GroupRegistry(const GroupRegistry &) = delete;
    GroupRegistry &operator=(const GroupRegistry &) = delete;

    /// The mask of a tag, which becomes a new group if there is none of that name. Three characters count, with their
    /// case. 0 when all groups are taken, and for a null.
    ///
    /// Two threads that register one new tag at the same moment may each get a group of their own.
    uint64 Register(const char *tag);

    /// Writes the tags of a mask in ascending order, joined by ";", and cuts what does not fit in `size` bytes. Gives
    /// the end of the text, where its NUL stands; with a size of 0 nothing is written.
    char *FormatNames(char *buffer, uint_size size, uint64 mask) const;

private:
    static constexpr uint32 Capacity = 64;
    static constexpr uint32 TagLength = 3;

    /// A tag as one word, the first character lowest, so that a reader never sees half of one.
    static constexpr uint32 Pack(const char *tag)
    {
        uint32 word = 0;
        for (uint32 index = 0; index < TagLength && tag[index] != '\0'; ++index)
        {
            word |= static_cast<uint32>(static_cast<uint8>(tag[index])) << (8 * index);
        }
        return word;
    }

    /// Tags as words. 0 is a group that nobody has registered, and prints as "???".
    std::array<std::atomic<uint32>, Capacity> mTags{{{Pack("DBG")},
                                                     {Pack("GEN")},
                                                     {Pack("XTR")},
                                                     {Pack("PRF")},
                                                     {Pack("MEM")},
                                                     {Pack("DSK")},
                                                     {Pack("NET")},
                                                     {Pack("TST")}}};
    std::atomic<uint32> mHighestIndex{7};
};

/// The groups of the built-in logger.
extern GroupRegistry gGroupRegistry;
} // namespace Keld::Logger
