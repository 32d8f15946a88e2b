#pragma once

#include "Tools/TreeChecker/CheckReport.h"

#include "Tools/TreeReader/VersionArchives.h"

#include <vector>

namespace Keld::TreeChecker
{
/// What a check of one archive has to know beside the archive.
struct ArchiveContext
{
    std::vector<uint32> users;     ///< releases that need the archive's version
    std::vector<bool> usedRecords; ///< by record
    bool tellUnused = false;       ///< whether records that no release uses are worth a note
};

/// Holds an archive's index against what the reader relies on and never checks: the order of its records, their hashes
/// and paths, and that no two of them share a part of their bytes.
void CheckArchive(const TreeReader::Archive &archive, TreeReader::DiskFileCache &files, const ArchiveContext &context,
                  CheckReport &report);
} // namespace Keld::TreeChecker
