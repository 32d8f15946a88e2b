#pragma once

#include <filesystem>

// What makes bytes and names survive a loss of power. All throw std::system_error with the path.
namespace Keld::TreeWriter
{
/// Brings everything that was written to the file system of a directory to its disk. One call for any number of files.
void SyncFileSystem(const std::filesystem::path &directory);

/// Brings the names in a directory to the disk.
void SyncDirectory(const std::filesystem::path &directory);
} // namespace Keld::TreeWriter
