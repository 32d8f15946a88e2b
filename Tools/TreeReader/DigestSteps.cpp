#include "Tools/TreeReader/DigestSteps.h"

#include "KeldFoundation/file/LittleEndian.h"

#include <array>
#include <bit>
#include <cstring>

namespace Keld::TreeReader
{
namespace
{
constexpr uint32 WordsPerBlock = 16;

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

uint32 WordAt(const char *bytes)
{
    Little32 word;
    std::memcpy(&word, bytes, sizeof word);
    return word;
}

/// The words of one block.
template <class Number>
using Words = std::array<Number, WordsPerBlock>;

/// One round of 16 steps. `Number` is uint32, or Lanes for several contents at once.
template <uint32 Round, class Number, std::size_t Groups, class Mix>
[[gnu::always_inline]] inline void RunRound(std::array<DigestState<Number>, Groups> &states,
                                            const std::array<Words<Number>, Groups> &words, uint32 firstWord,
                                            uint32 wordStep, const Mix &mix)
{
#pragma GCC unroll 16
    for (uint32 step = 0; step < WordsPerBlock; ++step)
    {
        const uint32 rotation = Rotations[Round][step % 4];
#pragma GCC unroll 4
        for (std::size_t group = 0; group < Groups; ++group)
        {
            // The four numbers change their parts from step to step.
            DigestState<Number> &state = states[group];
            Number &a = state[(0 - step) % 4];
            const Number &b = state[(1 - step) % 4];
            const Number &c = state[(2 - step) % 4];
            const Number &d = state[(3 - step) % 4];
            Number mixed;
            mix(b, c, d, mixed);
            mixed +=
                a + words[group][(firstWord + step * wordStep) % WordsPerBlock] + Sines[Round * WordsPerBlock + step];
            a = b + (mixed << rotation | mixed >> (32 - rotation));
        }
    }
}

template <class Number, std::size_t Groups>
[[gnu::always_inline]] inline void AddBlock(std::array<DigestState<Number>, Groups> &states,
                                            const std::array<Words<Number>, Groups> &words)
{
    std::array<DigestState<Number>, Groups> next = states;
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
    for (std::size_t group = 0; group < Groups; ++group)
    {
        for (std::size_t index = 0; index < next[group].size(); ++index)
        {
            states[group][index] += next[group][index];
        }
    }
}

/// Turns rows of words, one row of each content, into the first word of all contents, the second one of all, and so on.
[[gnu::always_inline]] inline void TurnRows(const Lanes (&rows)[LanesPerGroup], Lanes *words)
{
    Lanes pairs[LanesPerGroup];
#pragma GCC unroll 8
    for (uint32 row = 0; row < LanesPerGroup; row += 2)
    {
        pairs[row] = __builtin_shufflevector(rows[row], rows[row + 1], 0, 8, 1, 9, 4, 12, 5, 13);
        pairs[row + 1] = __builtin_shufflevector(rows[row], rows[row + 1], 2, 10, 3, 11, 6, 14, 7, 15);
    }
    Lanes fours[LanesPerGroup];
#pragma GCC unroll 4
    for (uint32 number = 0; number < LanesPerGroup / 2; ++number)
    {
        const uint32 pair = number / 2 * 4 + number % 2; // 0, 1, 4, 5
        fours[pair] = __builtin_shufflevector(pairs[pair], pairs[pair + 2], 0, 1, 8, 9, 4, 5, 12, 13);
        fours[pair + 2] = __builtin_shufflevector(pairs[pair], pairs[pair + 2], 2, 3, 10, 11, 6, 7, 14, 15);
    }
    // Of four contents, what belongs to the words 0, 2, 1 and 3, each with the one that comes four later.
    constexpr uint32 wordOf[LanesPerGroup / 2] = {0, 2, 1, 3};
#pragma GCC unroll 8
    for (uint32 four = 0; four < LanesPerGroup / 2; ++four)
    {
        const uint32 word = wordOf[four];
        words[word] = __builtin_shufflevector(fours[four], fours[four + 4], 0, 1, 2, 3, 8, 9, 10, 11);
        words[word + 4] = __builtin_shufflevector(fours[four], fours[four + 4], 4, 5, 6, 7, 12, 13, 14, 15);
    }
}

/// The words of one block of each content of a group.
[[gnu::always_inline]] inline void ReadWords(const char *const *data, uint64 offset, Words<Lanes> &words)
{
#pragma GCC unroll 2
    for (uint32 first = 0; first < WordsPerBlock; first += LanesPerGroup)
    {
        Lanes rows[LanesPerGroup];
#pragma GCC unroll 8
        for (uint32 lane = 0; lane < LanesPerGroup; ++lane)
        {
            std::memcpy(&rows[lane], data[lane] + offset + first * sizeof(uint32), sizeof(Lanes));
            if constexpr (std::endian::native == std::endian::big)
            {
                for (uint32 word = 0; word < LanesPerGroup; ++word)
                {
                    rows[lane][word] = __builtin_bswap32(rows[lane][word]);
                }
            }
        }
        TurnRows(rows, words.data() + first);
    }
}

[[gnu::always_inline]] inline void AddBlocksOfAll(LaneStates &states, const LanePointers &data, uint64 blockCount)
{
    LaneStates current = states; // which nothing else can change, so that it stays in the processor
    for (uint64 block = 0; block < blockCount; ++block)
    {
        std::array<Words<Lanes>, LaneGroups> words;
        for (uint_size group = 0; group < LaneGroups; ++group)
        {
            ReadWords(data.data() + group * LanesPerGroup, block * DigestBlockSize, words[group]);
        }
        AddBlock(current, words);
    }
    states = current;
}

void AddBlocksPlainly(LaneStates &states, const LanePointers &data, uint64 blockCount)
{
    AddBlocksOfAll(states, data, blockCount);
}

#if defined(__x86_64__)
[[gnu::target("avx2")]] void AddBlocksWidely(LaneStates &states, const LanePointers &data, uint64 blockCount)
{
    AddBlocksOfAll(states, data, blockCount);
}

/// With rotations and mixes of three numbers in one step each.
[[gnu::target("avx512f,avx512vl")]] void AddBlocksQuickly(LaneStates &states, const LanePointers &data,
                                                          uint64 blockCount)
{
    AddBlocksOfAll(states, data, blockCount);
}
#endif
} // namespace

void AddBlocks(LaneStates &states, const LanePointers &data, uint64 blockCount)
{
#if defined(__x86_64__)
    static const auto add = __builtin_cpu_supports("avx512vl") != 0 ? AddBlocksQuickly
                            : __builtin_cpu_supports("avx2") != 0   ? AddBlocksWidely
                                                                    : AddBlocksPlainly;
    add(states, data, blockCount);
#else
    AddBlocksPlainly(states, data, blockCount);
#endif
}

void AddBlocks(DigestState<uint32> &state, const char *data, uint64 blockCount)
{
    std::array<DigestState<uint32>, 1> states = {state};
    for (uint64 block = 0; block < blockCount; ++block)
    {
        std::array<Words<uint32>, 1> words;
        for (uint32 word = 0; word < WordsPerBlock; ++word)
        {
            words[0][word] = WordAt(data + block * DigestBlockSize + word * sizeof(uint32));
        }
        AddBlock(states, words);
    }
    state = states[0];
}
} // namespace Keld::TreeReader
