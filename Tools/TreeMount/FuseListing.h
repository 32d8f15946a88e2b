#pragma once

#include "Tools/TreeMount/FuseVersion.h"

// The kernel's calls that list directories.
namespace Keld::TreeMount
{
/// Names alone.
void ReadDirectory(fuse_req_t request, fuse_ino_t number, size_t size, off_t place, fuse_file_info *file);

/// Names, and what is known of those entries that the listing advice tells in full.
void ReadDirectoryPlus(fuse_req_t request, fuse_ino_t number, size_t size, off_t place, fuse_file_info *file);
} // namespace Keld::TreeMount
