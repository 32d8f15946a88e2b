#pragma once

#include "KeldMorvIO/listing/ManifestTables.h"

#include <utility>
#include <vector>

namespace Keld::MORV::Reader
{
/// A bucket of the hash table and an entry by its combined index: directory i is entry i, file j is entry D + j.
using HashPair = std::pair<uint32, uint32>;

/// Gives every entry of a manifest its hash and its bucket. Files that are missing have them too.
/// \param hashes out: by combined index, HashPathLower of the entry's path.
/// \param pairs  out: ascending by bucket.
/// \returns the bucket count, which is made for the entries that are not missing.
uint32 BuildHashPairs(const ManifestTables &manifest, uint_size missingCount, std::vector<uint32> &hashes,
                      std::vector<HashPair> &pairs);
} // namespace Keld::MORV::Reader
