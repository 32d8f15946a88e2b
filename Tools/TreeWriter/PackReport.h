#pragma once

#include "Tools/TreeWriter/BaseRelease.h"
#include "Tools/TreeWriter/PackPlan.h"

namespace Keld::TreeWriter
{
/// What was done, or what would be.
struct PackReport
{
    uint64 directories = 0;
    uint64 files = 0;
    uint64 kept = 0; ///< unchanged files that stay where an earlier release put them
    uint64 naked = 0;
    uint64 managed = 0;
    uint64 stored = 0; ///< in archives, without compression
    uint64 zlib = 0;
    uint64 lzma = 0;
    uint64 archives = 0;
    uint64 shared = 0;      ///< files that share the stored form of another
    uint64 contentSize = 0; ///< bytes of all files
    uint64 packedSize = 0;  ///< bytes of the files that are not kept
    uint64 sharedSize = 0;  ///< bytes of the files that share
    uint64 storedSize = 0;  ///< bytes that this release added to the tree, but for indexes and the manifest

    // Against the base:
    uint64 added = 0;      ///< files whose path it has not
    uint64 changed = 0;    ///< files with another content
    uint64 removed = 0;    ///< files that only it has
    uint64 moved = 0;      ///< added files with the content of a removed one
    uint64 nakedAgain = 0; ///< unchanged naked files, which every release has to store for itself
    uint64 nakedAgainSize = 0;

    uint64 excluded = 0;     ///< files and whole directories that patterns left out
    uint64 skippedLinks = 0; ///< symbolic links left out
};

/// Counts a plan whose entries are complete; with a dry run, as far as they are known.
PackReport CountPlan(const std::vector<PlannedFile> &plan, const SourceTree &source, const BaseRelease &base);
} // namespace Keld::TreeWriter
