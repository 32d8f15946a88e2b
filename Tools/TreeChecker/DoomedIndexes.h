#pragma once

#include "Tools/TreeReader/Release.h"

#include <string>
#include <vector>

namespace Keld::TreeChecker
{
/// An archive index that a start of the library cannot use, and deletes if it can.
struct DoomedIndex
{
    TreeReader::Fault fault;
    bool isDeletable = false; ///< whether a start by the user of this process does
};

/// The directories of archives that starts look into, and what starts would do there.
struct ArchivePlaces
{
    std::vector<DoomedIndex> doomed;
    std::vector<std::string> writable; ///< directories that the user of this process may write
    uint64 archives = 0;               ///< usable ones: each costs the library a descriptor

    /// Adds what a start does for one release. Changes nothing on disk.
    void Add(const TreeReader::Release &release);
};
} // namespace Keld::TreeChecker
