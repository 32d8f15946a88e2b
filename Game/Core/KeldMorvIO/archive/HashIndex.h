#pragma once

#include "KeldFoundation/CStd/LargeVector.h"
#include "KeldMorvIO/archive/ArchiveFormat.h"

namespace Keld::MORV::Reader
{
/// Tells where the records of one hash lie, for records in ascending order of their hashes: the top bits of a hash say
/// where to look. Takes four bytes for each record at most.
///
/// That the order is so is a writer's promise. Where it was broken the index knows nothing of the records, and answers
/// for every hash that all of them may have it.
class HashIndex
{
public:
    /// Positions of records: from `first` up to, and without, `end`.
    struct Range
    {
        uint32 first;
        uint32 end;
    };

    /// Looks at all records once. They must stay where they are for as long as the index is asked.
    void Build(const ArchiveFileEntry *records, uint32 count);

    /// All records of the hash, in a row. Where it is empty there are none.
    Range Find(uint32 hash) const;

private:
    bool IsAscending() const;
    void MarkStarts();

    const ArchiveFileEntry *mRecords = nullptr;
    uint32 mCount = 0;
    uint32 mShift = 0;           ///< what is shifted out of a hash leaves its top bits
    LargeVector<uint32> mStarts; ///< by top bits: the first record with these or higher ones. Empty without order.
};
} // namespace Keld::MORV::Reader
