#pragma once

#include "Tools/morv/FileSystem.h"

#include <memory>
#include <string>

namespace CLI
{
class App;
}

namespace Keld::Morv
{
struct CommonOptions;

/// What a reading command asks of its file system.
struct FileSystemOptions
{
    std::string release; ///< as typed; empty for the one around the working directory
    bool throughLibrary = false;
    bool checkDigests = true; ///< not through the library, which knows none
};

/// The options that choose the release and the road.
void AddFileSystemOptions(CLI::App &command, FileSystemOptions &options);

/// Opens the file system of a release. Throws TreeError that says what to do when there is none or nothing of it can be
/// served. What is missing or damaged is told once, in a summary.
std::unique_ptr<FileSystem> OpenFileSystem(const CommonOptions &common, const FileSystemOptions &options);
} // namespace Keld::Morv
