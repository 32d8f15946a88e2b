#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <bit>
#include <cstring>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::Benchmarks
{
/// What one would write for the library's task alone, and with nothing of its other duties: a flat hash map from full
/// paths in lower case to the place of the bytes. Open addressing, a slot of 16 bytes that holds the hash, the texts in
/// one block. It takes eight bytes of a path at a time.
class FlatMap
{
public:
    struct Place
    {
        uint32 offset;
        uint32 size;
    };

    explicit FlatMap(std::size_t count, std::size_t textSize = 0) : mSlots(std::bit_ceil(count + count / 4 + 1))
    {
        mPlaces.reserve(count);
        mTexts.reserve(textSize);
    }

    void Add(std::string_view path, Place place)
    {
        Key key(path);
        std::size_t index = key.hash & (mSlots.size() - 1);
        while (mSlots[index].length != Empty)
        {
            index = (index + 1) & (mSlots.size() - 1);
        }
        mSlots[index] = {key.hash, static_cast<uint32>(mTexts.size()), static_cast<uint32>(path.size()),
                         static_cast<uint32>(mPlaces.size())};
        mTexts.append(key.text, path.size());
        mPlaces.push_back(place);
    }

    /// Null when the path is not there. Paths are at most 1,023 bytes long.
    const Place *Find(const char *path) const
    {
        const std::string_view text(path);
        const Key key(text);
        std::size_t index = key.hash & (mSlots.size() - 1);
        for (; mSlots[index].length != Empty; index = (index + 1) & (mSlots.size() - 1))
        {
            const Slot &slot = mSlots[index];
            if (slot.hash == key.hash && slot.length == text.size() &&
                std::memcmp(mTexts.data() + slot.text, key.text, text.size()) == 0)
            {
                return &mPlaces[slot.place];
            }
        }
        return nullptr;
    }

private:
    static constexpr uint32 Empty = 0xFFFFFFFF;

    struct Slot
    {
        uint32 hash = 0;
        uint32 text = 0; ///< bytes from the start of the texts
        uint32 length = Empty;
        uint32 place = 0;
    };

    /// A path in lower case, and its hash.
    struct Key
    {
        explicit Key(std::string_view path)
        {
            uint64 state = path.size() * Multiplier;
            std::size_t at = 0;
            for (; at + 8 <= path.size(); at += 8)
            {
                state = Step(state, LowerWord(path.data() + at, 8, text + at));
            }
            if (at < path.size())
            {
                state = Step(state, LowerWord(path.data() + at, path.size() - at, text + at));
            }
            hash = static_cast<uint32>(state >> 32);
        }

        static uint64 Step(uint64 state, uint64 word)
        {
            state = (state ^ word) * Multiplier;
            return state ^ state >> 29;
        }

        static uint64 LowerWord(const char *from, std::size_t size, char *to)
        {
            uint64 word = 0;
            std::memcpy(&word, from, size);
            const uint64 low = word & 0x7F7F7F7F7F7F7F7F;
            const uint64 fromA = low + 0x3F3F3F3F3F3F3F3F;  // high bit: 'A' or above
            const uint64 aboveZ = low + 0x2525252525252525; // high bit: above 'Z'
            const uint64 upper = (fromA ^ aboveZ) & ~word & 0x8080808080808080;
            word |= upper >> 2;
            std::memcpy(to, &word, 8);
            return word;
        }

        static constexpr uint64 Multiplier = 0x9E3779B97F4A7C15;

        char text[1024 + 8];
        uint32 hash;
    };

    std::vector<Slot> mSlots;
    std::vector<Place> mPlaces;
    std::string mTexts;
};
} // namespace Keld::Benchmarks
