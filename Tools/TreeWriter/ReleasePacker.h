#pragma once

#include "Tools/TreeWriter/PackRequest.h"

namespace Keld::TreeWriter
{
/// What was done.
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
    uint64 contentSize = 0; ///< bytes of all files
    uint64 storedSize = 0;  ///< bytes that this release added to the tree
};

/// Makes a release. Nothing of it is visible before all of it is on disk, and its manifest comes last. Throws TreeError
/// for what it refuses and std::system_error when the disk fails it; no release is then changed. Holds the project's
/// lock while it works, and waits for whoever else does.
PackReport PackRelease(const PackRequest &request);
} // namespace Keld::TreeWriter
