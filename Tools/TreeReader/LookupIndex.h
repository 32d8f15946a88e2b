#pragma once

#include "Tools/TreeReader/ManifestTree.h"

#include <vector>

namespace Keld::TreeReader
{
/// The hash table of a release's paths, with the buckets and the order of the library's own. Of several entries with
/// one path the library finds the first of its bucket, and how the buckets fall depends on how many files are missing.
class LookupIndex
{
public:
    /// \param missingCount of the tree's files, to be passed over by every search.
    LookupIndex(const ManifestTree &tree, uint32 missingCount);

    /// Calls `visit` with each entry of this path, in order, until it returns false.
    /// \param path canonical, without a leading '/'.
    template <class Visit>
    void ForEachMatch(const std::string &path, Visit visit) const
    {
        const uint32 bucket = GetBucket(path.c_str());
        for (uint32 place = mStarts[bucket]; place < mStarts[bucket + 1]; ++place)
        {
            if (mTree.Matches(mEntries[place], path.c_str()) && !visit(mEntries[place]))
            {
                return;
            }
        }
    }

private:
    uint32 GetBucket(const char *path) const;

    const ManifestTree &mTree;
    std::vector<uint32> mStarts;      ///< by bucket, in mEntries; one more than there are buckets
    std::vector<EntryIndex> mEntries; ///< grouped by bucket
};
} // namespace Keld::TreeReader
