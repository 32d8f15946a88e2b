#pragma once

#include "Tools/TreeReader/Fault.h"

#include "KeldFoundation/version/MorvVersion.h"

#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// A file on disk where a project keeps its data, whether or not anything refers to it.
struct DataFile
{
    std::string path; ///< below the tree's root
    uint64 size = 0;
    MorvVersion version = 0; ///< of the directory that it lies in
};

/// The data files of one project, by kind. Symbolic links are not followed and are no files.
struct DataFiles
{
    std::vector<DataFile> archives; ///< indexes and data files under "filearchives", and nothing else there
    std::vector<DataFile> managed;  ///< all under "managedfiles"
    std::vector<DataFile> releases; ///< all under "releases": manifests, naked files, and whatever else lies there
};

/// Lists them in the order of their paths. Directories that are not called by a version in its own form are left out.
Result<DataFiles> ListDataFiles(const std::string &root, const std::string &project);

/// The directories in a directory that are called by a version in its own form; no symbolic links. None where it is not
/// there.
/// \throws TreeError if it cannot be read, so that nobody takes what is there for missing.
std::vector<std::string> ListVersionDirectories(const std::string &directory);
} // namespace Keld::TreeReader
