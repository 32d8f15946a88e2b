#pragma once

#include "KeldFoundation/CStd/LargeVector.h"
#include "KeldMorvIO/listing/ManifestTables.h"

#include <vector>

namespace Keld::MORV::Reader
{
/// An entry of a manifest by its combined index, where directory i is entry i and file j is entry D + j, and
/// HashPathLower of its path: 0 for one that no directory holds.
struct HashedEntry
{
    uint32 hash;
    uint32 index;
};

/// Hashes every entry of a manifest, missing files too, and puts them in the order of the hash table.
/// \param entries out: ascending by bucket, which is the hash modulo the bucket count. Of entries with one path that
///                stand in one bucket the first is found, so that their order shows: it is what std::sort makes of
///                pairs of bucket and index when it compares the buckets alone.
/// \returns the bucket count, which is made for the entries that are not missing.
uint32 HashEntries(const ManifestTables &manifest, uint_size missingCount, LargeVector<HashedEntry> &entries);
} // namespace Keld::MORV::Reader
