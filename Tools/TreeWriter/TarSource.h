#pragma once

#include "Tools/TreeWriter/SourceTree.h"

#include <filesystem>
#include <functional>

namespace Keld::TreeWriter
{
/// Reads a tar stream, also one compressed by gzip, bzip2, xz, zstd or lz4, and puts the content of each file into a
/// directory under a number: names in the stream never become names on the disk. Of entries of one path the last
/// counts, and a hard link is a file with the content of what it names. A symbolic link, where links are followed, must
/// lead to a file of the stream. Throws TreeError with everything that a release cannot hold, as ScanSource.
/// \param descriptor borrowed
SourceTree SpoolTar(int descriptor, const std::filesystem::path &directory, const SourceOptions &options,
                    const std::function<void()> &checkpoint);
} // namespace Keld::TreeWriter
