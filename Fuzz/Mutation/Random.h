#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <cstddef>

namespace Keld::Fuzz
{
/// Numbers that look like chance and follow from a seed alone, so that a run can be repeated.
class Random
{
public:
    explicit Random(uint64 seed) : mState(seed) {}

    uint64 Next()
    {
        mState += 0x9E3779B97F4A7C15;
        uint64 mixed = mState;
        mixed = (mixed ^ mixed >> 30) * 0xBF58476D1CE4E5B9;
        mixed = (mixed ^ mixed >> 27) * 0x94D049BB133111EB;
        return mixed ^ mixed >> 31;
    }

    /// From 0 to `bound` - 1; 0 where `bound` is 0.
    std::size_t Below(std::size_t bound) { return bound == 0 ? 0 : static_cast<std::size_t>(Next() % bound); }

    bool OneIn(std::size_t count) { return Below(count) == 0; }

    /// One of a row that is not empty.
    template <class Row>
    auto &Pick(Row &row)
    {
        return row[Below(row.size())];
    }

private:
    uint64 mState;
};
} // namespace Keld::Fuzz
