#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <array>

/// The arithmetic of MD5 (RFC 1321), of one content and of several side by side.
namespace Keld::TreeReader
{
inline constexpr uint32 DigestBlockSize = 64; ///< bytes

/// The four numbers that a digest goes on from, and ends with.
inline constexpr std::array<uint32, 4> DigestStart = {0x67452301, 0xefcdab89, 0x98badcfe, 0x10325476};

/// The four numbers of MD5, of one content or of each lane of a group.
template <class Number>
using DigestState = std::array<Number, DigestStart.size()>;

inline constexpr uint32 LanesPerGroup = 8;
inline constexpr uint32 LaneGroups = 2; ///< a step of one group waits for the step before; the other's fill that time
inline constexpr uint32 LaneCount = LanesPerGroup * LaneGroups;

/// One 32-bit number of each lane of a group. The compiler makes of it what the processor has.
using Lanes = uint32 __attribute__((vector_size(LanesPerGroup * sizeof(uint32))));
using LaneStates = std::array<DigestState<Lanes>, LaneGroups>;

/// Where the blocks of each lane begin.
using LanePointers = std::array<const char *, LaneCount>;

/// Adds whole blocks, as many to every lane.
void AddBlocks(LaneStates &states, const LanePointers &data, uint64 blockCount);

/// Adds whole blocks of one content.
void AddBlocks(DigestState<uint32> &state, const char *data, uint64 blockCount);
} // namespace Keld::TreeReader
