#pragma once

#include "Tools/morv/FileSystem.h"

#include <memory>

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
    bool throughLibrary = false;
    bool checkDigests = true; ///< not through the library, which knows none
};

/// The option that chooses the road.
void AddRoadOption(CLI::App &command, FileSystemOptions &options);

/// Opens the file system of the working directory. Throws TreeError that says what to do when the directory lies in no
/// release or nothing of it can be served. What is missing or damaged is told once, in a summary.
std::unique_ptr<FileSystem> OpenFileSystem(const CommonOptions &common, const FileSystemOptions &options);
} // namespace Keld::Morv
