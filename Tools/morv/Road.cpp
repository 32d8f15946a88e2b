#include "Tools/morv/Road.h"

#include "Tools/morv/CommandSet.h"
#include "Tools/morv/CoreFileSystem.h"
#include "Tools/morv/Library.h"

#include <CLI/CLI.hpp>

namespace Keld::Morv
{
void AddRoadOption(CLI::App &command, FileSystemOptions &options)
{
    command.add_flag("--through-library", options.throughLibrary,
                     "Ask the library's exported calls, as a program does; the library checks no digests, and deletes "
                     "archive indexes that it cannot use");
}

std::unique_ptr<FileSystem> OpenFileSystem(const CommonOptions &common, const FileSystemOptions &options)
{
    if (options.throughLibrary)
    {
        return std::make_unique<Library>(common.GetDirectory());
    }
    return std::make_unique<CoreFileSystem>(common, options.checkDigests);
}
} // namespace Keld::Morv
