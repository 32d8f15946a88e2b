#include "KeldMorvIO/blocks/DeflateHeader.h"

#include <algorithm>

namespace Keld::MORV::Reader
{
namespace
{
enum BlockType : uint32
{
    StoredBlock = 0,
    FixedCodesBlock = 1,
    DynamicCodesBlock = 2
};

constexpr uint32 EndOfBlock = 256;
constexpr uint32 MostLiteralCodes = 286;
constexpr uint32 MostDistanceCodes = 30;
constexpr uint32 LengthCodeCount = 19;
constexpr uint32 LongestCode = 15;
constexpr uint32 LongestLengthCode = 7;

/// Takes bits from the low end of each byte on. Behind the end there are zeros, and `HasOverrun` says so.
class BitReader
{
public:
    BitReader(const uint8 *data, uint32 bit, const uint8 *end) : mNext(data), mEnd(end)
    {
        Fill();
        Drop(bit);
    }

    /// The next bits, of which at most 16 may be looked at.
    uint32 Peek()
    {
        if (mCount < 16)
        {
            Fill();
        }
        return static_cast<uint32>(mBits);
    }

    void Drop(uint32 count)
    {
        mBits >>= count;
        mCount -= static_cast<int32>(count);
    }

    uint32 Take(uint32 count)
    {
        const uint32 value = Peek() & ((1U << count) - 1);
        Drop(count);
        return value;
    }

    /// The bits up to the next whole byte.
    void DropToByte() { Drop(static_cast<uint32>(mCount) % 8); }

    bool HasOverrun() const { return mCount < mMissing * 8; }

    /// The byte behind the last one of which a bit was taken.
    const uint8 *Position() const { return mNext - (mCount - mMissing * 8) / 8; }

private:
    void Fill()
    {
        while (mCount <= 56)
        {
            if (mNext < mEnd)
            {
                mBits |= uint64{*mNext++} << mCount;
            }
            else
            {
                ++mMissing;
            }
            mCount += 8;
        }
    }

    const uint8 *mNext;
    const uint8 *mEnd;
    uint64 mBits = 0;
    int32 mCount = 0;
    int32 mMissing = 0; ///< bytes of zeros that were made up
};

/// Whether codes of these lengths use up all that codes of at most `longest` bits can say, and no more. A length of 0
/// is no code.
bool IsComplete(const uint8 *lengths, uint32 count, uint32 longest)
{
    uint32 shares[LongestCode + 1] = {}; // of 1 << longest, for a code of each length
    for (uint32 length = 1; length <= longest; ++length)
    {
        shares[length] = 1U << (longest - length);
    }
    uint32 used = 0;
    for (uint32 index = 0; index < count; ++index)
    {
        used += shares[lengths[index]];
    }
    return used == 1U << longest;
}

/// The code in which the lengths of the other codes are written, as a table of all that its next seven bits can be.
class LengthCode
{
public:
    /// False when the code is not complete.
    bool Read(BitReader &bits, uint32 count)
    {
        constexpr uint8 order[LengthCodeCount] = {16, 17, 18, 0, 8, 7, 9, 6, 10, 5, 11, 4, 12, 3, 13, 2, 14, 1, 15};
        uint8 lengths[LengthCodeCount] = {};
        for (uint32 index = 0; index < count; ++index)
        {
            lengths[order[index]] = static_cast<uint8>(bits.Take(3));
        }
        if (!IsComplete(lengths, LengthCodeCount, LongestLengthCode))
        {
            return false;
        }
        uint32 next = 0; // the code, its first bit on top, with zeros up to seven bits
        for (uint32 length = 1; length <= LongestLengthCode; ++length)
        {
            for (uint32 symbol = 0; symbol < LengthCodeCount; ++symbol)
            {
                if (lengths[symbol] == length)
                {
                    Enter(next, length, static_cast<uint8>(symbol));
                    next += 1U << (LongestLengthCode - length);
                }
            }
        }
        return true;
    }

    uint32 Decode(BitReader &bits) const
    {
        const Entry entry = mEntries[bits.Peek() % TableSize];
        bits.Drop(entry.length);
        return entry.symbol;
    }

private:
    static constexpr uint32 TableSize = 1U << LongestLengthCode;

    struct Entry
    {
        uint8 symbol;
        uint8 length;
    };

    void Enter(uint32 code, uint32 length, uint8 symbol)
    {
        uint32 reversed = 0; // streams hold codes from their first bit on
        for (uint32 bit = 0; bit < LongestLengthCode; ++bit)
        {
            reversed |= (code >> (LongestLengthCode - 1 - bit) & 1) << bit;
        }
        for (uint32 index = reversed; index < TableSize; index += 1U << length)
        {
            mEntries[index] = {symbol, static_cast<uint8>(length)};
        }
    }

    Entry mEntries[TableSize];
};

/// Reads code lengths with their three kinds of repeat. False when a repeat has nothing to repeat or goes too far.
bool ReadLengths(BitReader &bits, const LengthCode &code, uint8 *lengths, uint32 count)
{
    for (uint32 index = 0; index < count;)
    {
        const uint32 symbol = code.Decode(bits);
        if (symbol <= LongestCode)
        {
            lengths[index++] = static_cast<uint8>(symbol);
            continue;
        }
        if (symbol == 16 && index == 0)
        {
            return false;
        }
        const uint8 value = symbol == 16 ? lengths[index - 1] : uint8{0};
        const uint32 repeat = symbol == 16 ? 3 + bits.Take(2) : symbol == 17 ? 3 + bits.Take(3) : 11 + bits.Take(7);
        if (repeat > count - index)
        {
            return false;
        }
        std::fill_n(lengths + index, repeat, value);
        index += repeat;
    }
    return true;
}

bool ReadDynamicCodes(BitReader &bits)
{
    const uint32 literals = 257 + bits.Take(5);
    const uint32 distances = 1 + bits.Take(5);
    const uint32 lengthCodes = 4 + bits.Take(4);
    LengthCode code;
    uint8 lengths[MostLiteralCodes + MostDistanceCodes] = {};
    return literals <= MostLiteralCodes && distances <= MostDistanceCodes && code.Read(bits, lengthCodes) &&
           ReadLengths(bits, code, lengths, literals + distances) && lengths[EndOfBlock] != 0 &&
           IsComplete(lengths, literals, LongestCode) && IsComplete(lengths + literals, distances, LongestCode);
}

bool ReadStoredSize(BitReader &bits)
{
    bits.DropToByte();
    const uint32 size = bits.Take(16);
    return bits.Take(16) == (~size & 0xFFFF);
}
} // namespace

std::optional<DeflateHeader> ReadDeflateHeader(const uint8 *data, uint32 bit, const uint8 *dataEnd)
{
    BitReader bits(data, bit, dataEnd);
    const bool isFinal = bits.Take(1) != 0;
    const uint32 type = bits.Take(2);
    const bool good = type == StoredBlock         ? ReadStoredSize(bits)
                      : type == DynamicCodesBlock ? ReadDynamicCodes(bits)
                                                  : type == FixedCodesBlock;
    if (!good || bits.HasOverrun())
    {
        return std::nullopt;
    }
    return DeflateHeader{isFinal, bits.Position()};
}
} // namespace Keld::MORV::Reader
