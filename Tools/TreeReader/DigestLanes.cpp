#include "Tools/TreeReader/DigestLanes.h"

#include "KeldFoundation/file/LittleEndian.h"

#include <algorithm>
#include <array>
#include <bit>
#include <cstring>
#include <memory>
#include <numeric>

namespace Keld::TreeReader
{
namespace
{
constexpr uint32 LaneCount = 8;
constexpr uint32 DigestBlockSize = 64;
constexpr uint32 WordsPerBlock = 16;
constexpr uint32 FewLanes = 2; // with no more than that, one after the other is faster

/// One 32-bit number of each lane. The compiler makes of it what the processor has.
using Lanes = uint32 __attribute__((vector_size(LaneCount * sizeof(uint32))));

// The constants and rotations of MD5.
constexpr std::array<uint32, 64> Sines = {
    0xd76aa478, 0xe8c7b756, 0x242070db, 0xc1bdceee, 0xf57c0faf, 0x4787c62a, 0xa8304613, 0xfd469501,
    0x698098d8, 0x8b44f7af, 0xffff5bb1, 0x895cd7be, 0x6b901122, 0xfd987193, 0xa679438e, 0x49b40821,
    0xf61e2562, 0xc040b340, 0x265e5a51, 0xe9b6c7aa, 0xd62f105d, 0x02441453, 0xd8a1e681, 0xe7d3fbc8,
    0x21e1cde6, 0xc33707d6, 0xf4d50d87, 0x455a14ed, 0xa9e3e905, 0xfcefa3f8, 0x676f02d9, 0x8d2a4c8a,
    0xfffa3942, 0x8771f681, 0x6d9d6122, 0xfde5380c, 0xa4beea44, 0x4bdecfa9, 0xf6bb4b60, 0xbebfbc70,
    0x289b7ec6, 0xeaa127fa, 0xd4ef3085, 0x04881d05, 0xd9d4d039, 0xe6db99e5, 0x1fa27cf8, 0xc4ac5665,
    0xf4292244, 0x432aff97, 0xab9423a7, 0xfc93a039, 0x655b59c3, 0x8f0ccc92, 0xffeff47d, 0x85845dd1,
    0x6fa87e4f, 0xfe2ce6e0, 0xa3014314, 0x4e0811a1, 0xf7537e82, 0xbd3af235, 0x2ad7d2bb, 0xeb86d391};
constexpr std::array<std::array<uint32, 4>, 4> Rotations = {
    {{7, 12, 17, 22}, {5, 9, 14, 20}, {4, 11, 16, 23}, {6, 10, 15, 21}}};
constexpr std::array<uint32, 4> Start = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

uint32 WordAt(const char *bytes)
{
    Little32 word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// One round of 16 steps. `Number` is uint32, or Lanes for several contents at once.
template <uint32 Round, class Number, class Mix>
[[gnu::always_inline]] inline void RunRound(Number (&state)[4], const Number (&words)[WordsPerBlock], uint32 firstWord,
                                            uint32 wordStep, const Mix &mix)
{
#pragma GCC unroll 16
    for (uint32 step = 0; step < WordsPerBlock; ++step)
    {
        // The four numbers change their parts from step to step.
        Number &a = state[(0 - step) % 4];
        const Number &b = state[(1 - step) % 4];
        const Number &c = state[(2 - step) % 4];
        const Number &d = state[(3 - step) % 4];
        const uint32 rotation = Rotations[Round][step % 4];
        Number mixed;
        mix(b, c, d, mixed);
        mixed += a + words[(firstWord + step * wordStep) % WordsPerBlock] + Sines[Round * WordsPerBlock + step];
        a = b + (mixed << rotation | mixed >> (32 - rotation));
    }
}

template <class Number>
[[gnu::always_inline]] inline void AddBlock(Number (&state)[4], const Number (&words)[WordsPerBlock])
{
    Number next[4] = {state[0], state[1], state[2], state[3]};
    RunRound<0>(next, words, 0, 1,
                [](const Number &b, const Number &c, const Number &d, Number &mixed)
                {
                    mixed = d ^ (b & (c ^ d));
                });
    RunRound<1>(next, words, 1, 5,
                [](const Number &b, const Number &c, const Number &d, Number &mixed)
                {
                    mixed = c ^ (d & (b ^ c));
                });
    RunRound<2>(next, words, 5, 3,
                [](const Number &b, const Number &c, const Number &d, Number &mixed)
                {
                    mixed = b ^ c ^ d;
                });
    RunRound<3>(next, words, 0, 7,
                [](const Number &b, const Number &c, const Number &d, Number &mixed)
                {
                    mixed = c ^ (b | ~d);
                });
    for (uint32 index = 0; index < 4; ++index)
    {
        state[index] += next[index];
    }
}

using Pointers = std::array<const char *, LaneCount>;

/// Turns rows of words, one row of each content, into the first word of all contents, the second one of all, and so on.
[[gnu::always_inline]] inline void TurnRows(const Lanes (&rows)[LaneCount], Lanes *words)
{
    Lanes pairs[LaneCount];
#pragma GCC unroll 8
    for (uint32 row = 0; row < LaneCount; row += 2)
    {
        pairs[row] = __builtin_shufflevector(rows[row], rows[row + 1], 0, 8, 1, 9, 4, 12, 5, 13);
        pairs[row + 1] = __builtin_shufflevector(rows[row], rows[row + 1], 2, 10, 3, 11, 6, 14, 7, 15);
    }
    Lanes fours[LaneCount];
#pragma GCC unroll 8
    for (uint32 pair = 0; pair < LaneCount; pair += pair % 2 == 0 ? 1 : 3)
    {
        fours[pair] = __builtin_shufflevector(pairs[pair], pairs[pair + 2], 0, 1, 8, 9, 4, 5, 12, 13);
        fours[pair + 2] = __builtin_shufflevector(pairs[pair], pairs[pair + 2], 2, 3, 10, 11, 6, 7, 14, 15);
    }
    // Of four contents, what belongs to the words 0, 2, 1 and 3, each with the one that comes four later.
    constexpr uint32 wordOf[LaneCount / 2] = {0, 2, 1, 3};
#pragma GCC unroll 8
    for (uint32 four = 0; four < LaneCount / 2; ++four)
    {
        const uint32 word = wordOf[four];
        words[word] = __builtin_shufflevector(fours[four], fours[four + 4], 0, 1, 2, 3, 8, 9, 10, 11);
        words[word + 4] = __builtin_shufflevector(fours[four], fours[four + 4], 4, 5, 6, 7, 12, 13, 14, 15);
    }
}

/// The words of one block of each content.
[[gnu::always_inline]] inline void ReadWords(const Pointers &data, uint64 offset, Lanes (&words)[WordsPerBlock])
{
#pragma GCC unroll 2
    for (uint32 first = 0; first < WordsPerBlock; first += LaneCount)
    {
        Lanes rows[LaneCount];
#pragma GCC unroll 8
        for (uint32 lane = 0; lane < LaneCount; ++lane)
        {
            std::memcpy(&rows[lane], data[lane] + offset + first * sizeof(uint32), sizeof(Lanes));
            if constexpr (std::endian::native == std::endian::big)
            {
                for (uint32 word = 0; word < LaneCount; ++word)
                {
                    rows[lane][word] = __builtin_bswap32(rows[lane][word]);
                }
            }
        }
        TurnRows(rows, words + first);
    }
}

[[gnu::always_inline]] inline void AddBlocksOfAll(Lanes (&state)[4], const Pointers &data, uint64 blockCount)
{
    for (uint64 block = 0; block < blockCount; ++block)
    {
        Lanes words[WordsPerBlock];
        ReadWords(data, block * DigestBlockSize, words);
        AddBlock(state, words);
    }
}

void AddBlocksPlainly(Lanes (&state)[4], const Pointers &data, uint64 blockCount)
{
    AddBlocksOfAll(state, data, blockCount);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] void AddBlocksWidely(Lanes (&state)[4], const Pointers &data, uint64 blockCount)
{
    AddBlocksOfAll(state, data, blockCount);
}

/// With rotations and mixes of three numbers in one step each.
[[gnu::target("avx512f,avx512vl")]] void AddBlocksQuickly(Lanes (&state)[4], const Pointers &data, uint64 blockCount)
{
    AddBlocksOfAll(state, data, blockCount);
}

void AddBlocks(Lanes (&state)[4], const Pointers &data, uint64 blockCount)
{
    static const auto add = __builtin_cpu_supports("avx512vl") != 0 ? AddBlocksQuickly
                            : __builtin_cpu_supports("avx2") != 0   ? AddBlocksWidely
                                                                    : AddBlocksPlainly;
    add(state, data, blockCount);
}
#else
void AddBlocks(Lanes (&state)[4], const Pointers &data, uint64 blockCount)
{
    AddBlocksPlainly(state, data, blockCount);
}
#endif

/// One content on its way through a lane: its whole blocks, then what is left of it with the padding.
struct Work
{
    explicit Work(std::string_view content)
        : data(content.data()), blocks(content.size() / DigestBlockSize),
          tailBlocks(content.size() % DigestBlockSize < 56 ? 1 : 2)
    {
        const uint_size whole = content.size() / DigestBlockSize * DigestBlockSize;
        std::copy(content.begin() + static_cast<std::ptrdiff_t>(whole), content.end(), tail.begin());
        tail[content.size() - whole] = '\x80';
        const uint64 bits = uint64{content.size()} * 8;
        for (uint32 byte = 0; byte < sizeof bits; ++byte)
        {
            tail[uint_size{tailBlocks} * DigestBlockSize - sizeof bits + byte] =
                static_cast<char>(bits >> (8 * byte) & 0xFF);
        }
        GoOnToTail();
    }

    /// False when all is done.
    bool Advance(uint64 count)
    {
        data += count * DigestBlockSize;
        blocks -= count;
        GoOnToTail();
        return blocks != 0;
    }

    const char *data;
    uint64 blocks; ///< left, of the content or of the tail
    uint32 tailBlocks;
    std::array<char, std::size_t{2} *DigestBlockSize> tail = {};

private:
    void GoOnToTail()
    {
        if (blocks == 0 && tailBlocks != 0)
        {
            data = tail.data();
            blocks = tailBlocks;
            tailBlocks = 0;
        }
    }
};

class LaneSet
{
public:
    LaneSet(std::span<const std::string_view> contents, std::vector<Digest> &digests)
        : mContents(contents), mDigests(digests), mOrder(contents.size())
    {
        // The longest first, so that all lanes end together.
        std::iota(mOrder.begin(), mOrder.end(), uint_size{0});
        std::stable_sort(mOrder.begin(), mOrder.end(),
                         [this](uint_size left, uint_size right)
                         {
                             return mContents[left].size() > mContents[right].size();
                         });
    }

    void Run();

private:
    struct Lane
    {
        std::unique_ptr<Work> work; ///< stays where it is: it points into itself
        uint_size content = 0;
    };

    void Fill(uint32 lane);
    void Step();
    void FinishOne(uint32 lane);
    void Take(uint32 lane);
    uint32 CountBusy() const;

    std::span<const std::string_view> mContents;
    std::vector<Digest> &mDigests;
    std::vector<uint_size> mOrder;
    uint_size mNext = 0; ///< in mOrder
    Lanes mState[4] = {};
    std::array<Lane, LaneCount> mLanes;
};

void LaneSet::Run()
{
    for (uint32 lane = 0; lane < LaneCount; ++lane)
    {
        Fill(lane);
    }
    while (CountBusy() > FewLanes)
    {
        Step();
    }
    for (uint32 lane = 0; lane < LaneCount; ++lane)
    {
        while (mLanes[lane].work != nullptr)
        {
            FinishOne(lane);
        }
    }
}

uint32 LaneSet::CountBusy() const
{
    return static_cast<uint32>(std::count_if(mLanes.begin(), mLanes.end(),
                                             [](const Lane &lane)
                                             {
                                                 return lane.work != nullptr;
                                             }));
}

void LaneSet::Fill(uint32 lane)
{
    mLanes[lane].work.reset();
    if (mNext == mOrder.size())
    {
        return;
    }
    mLanes[lane].content = mOrder[mNext++];
    mLanes[lane].work = std::make_unique<Work>(mContents[mLanes[lane].content]);
    for (uint32 index = 0; index < 4; ++index)
    {
        mState[index][lane] = Start[index];
    }
}

/// As many blocks as every lane has. A lane without work goes along with another's.
void LaneSet::Step()
{
    Pointers data = {};
    uint64 count = 0;
    const char *any = nullptr;
    for (uint32 lane = 0; lane < LaneCount; ++lane)
    {
        if (const Work *work = mLanes[lane].work.get())
        {
            data[lane] = work->data;
            any = work->data;
            count = count == 0 ? work->blocks : std::min(count, work->blocks);
        }
    }
    std::replace(data.begin(), data.end(), static_cast<const char *>(nullptr), any);
    AddBlocks(mState, data, count);
    for (uint32 lane = 0; lane < LaneCount; ++lane)
    {
        if (mLanes[lane].work != nullptr && !mLanes[lane].work->Advance(count))
        {
            Take(lane);
            Fill(lane);
        }
    }
}

void LaneSet::FinishOne(uint32 lane)
{
    Work &work = *mLanes[lane].work;
    uint32 state[4] = {mState[0][lane], mState[1][lane], mState[2][lane], mState[3][lane]};
    do
    {
        uint32 words[WordsPerBlock];
        for (uint32 word = 0; word < WordsPerBlock; ++word)
        {
            words[word] = WordAt(work.data + word * sizeof(uint32));
        }
        AddBlock(state, words);
    } while (work.Advance(1));
    for (uint32 index = 0; index < 4; ++index)
    {
        mState[index][lane] = state[index];
    }
    Take(lane);
    Fill(lane);
}

void LaneSet::Take(uint32 lane)
{
    Digest &digest = mDigests[mLanes[lane].content];
    for (uint32 byte = 0; byte < digest.size(); ++byte)
    {
        digest[byte] = static_cast<unsigned char>(mState[byte / 4][lane] >> (byte % 4 * 8) & 0xFF);
    }
}
} // namespace

std::vector<Digest> DigestsOf(std::span<const std::string_view> contents)
{
    std::vector<Digest> digests(contents.size());
    LaneSet(contents, digests).Run();
    return digests;
}
} // namespace Keld::TreeReader
