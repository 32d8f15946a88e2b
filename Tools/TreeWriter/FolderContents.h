#pragma once

#include "Tools/TreeReader/ContentList.h"
#include "Tools/TreeWriter/SourceTree.h"

#include <functional>
#include <set>

namespace Keld::TreeWriter
{
/// A plain folder as if it were a release: what a pack of it would hold. Nothing is read; no item has a digest.
TreeReader::ContentList ListFolder(const SourceTree &source);

/// How the reading of a folder is watched.
struct DigestWatch
{
    std::function<void()> checkpoint = [] {};            ///< called again and again; may throw to end it
    std::function<void(uint64)> advance = [](uint64) {}; ///< so many more bytes are done
};

/// Reads the files of some sizes and gives their items a digest. Throws TreeError for a file that cannot be read or
/// changes meanwhile.
/// \param list of ListFolder for the same source
void DigestFolder(TreeReader::ContentList &list, const SourceTree &source, const std::set<uint64> &sizes,
                  unsigned threadCount, const DigestWatch &watch);
} // namespace Keld::TreeWriter
