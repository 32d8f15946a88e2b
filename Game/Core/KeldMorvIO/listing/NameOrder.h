#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <vector>

namespace Keld::MORV::Reader
{
/// The ascending order of a manifest's strings without regard to ASCII case, by their indices.
///
/// Any number of records may share a long name, and a sort compares it with each of them. Long strings are therefore
/// put in order among themselves once, so that no comparison looks at more than their first bytes.
class NameOrder
{
public:
    /// How many bytes a comparison looks at. A string with as many is long.
    static constexpr uint32 ComparedSize = 64;

    /// \param strings borrowed.
    explicit NameOrder(const std::vector<const char *> &strings);

    bool ComesBefore(uint32 lhs, uint32 rhs) const;

    const char *GetName(uint32 index) const { return mStrings[index]; }

private:
    const std::vector<const char *> &mStrings;
    std::vector<uint32>
        mRanks; ///< by index: the place among the long strings, 0 for short ones; empty without long ones
};
} // namespace Keld::MORV::Reader
