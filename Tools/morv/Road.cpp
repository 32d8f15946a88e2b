#include "Tools/morv/Road.h"

#include "Tools/morv/CommandSet.h"
#include "Tools/morv/CoreFileSystem.h"
#include "Tools/morv/Library.h"
#include "Tools/morv/OpenView.h"

#include <CLI/CLI.hpp>

namespace Keld::Morv
{
void AddFileSystemOptions(CLI::App &command, FileSystemOptions &options)
{
    AddReleaseOption(command, options.release);
    command.add_flag("--through-library", options.throughLibrary,
                     "Ask the library's exported calls, as a program does; the library checks no digests, and deletes "
                     "archive indexes that it cannot use");
}

std::unique_ptr<FileSystem> OpenFileSystem(const CommonOptions &common, const FileSystemOptions &options)
{
    if (options.throughLibrary)
    {
        return std::make_unique<Library>(ResolveRelease(options.release, common));
    }
    auto trees = std::make_unique<TreeReader::TreeSet>();
    OpenedView opened = OpenView(*trees, options.release, common);
    return std::make_unique<CoreFileSystem>(std::move(trees), std::move(opened), common.GetThreadCount(),
                                            options.checkDigests);
}
} // namespace Keld::Morv
