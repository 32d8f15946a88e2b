#pragma once

#include "Tools/TreeReader/ReleaseContents.h"

#include <string>

namespace Keld::TreeWriter
{
/// The bytes of a "releasemanifest" file. Directories above a file or directory are added by themselves, each
/// directory's children lie in consecutive records in ascending order without regard to case, and the root's name is
/// the empty string at index 0. Throws TreeError for a path that is no virtual path, for two paths that differ in
/// nothing or in case alone, and for tables over the format's limits.
std::string BuildReleaseManifest(const TreeReader::ReleaseContents &contents);
} // namespace Keld::TreeWriter
