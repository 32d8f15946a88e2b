#pragma once

#include "Tools/TreeReader/ArchiveIndex.h"
#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeReader/TreePlaces.h"

#include <map>
#include <string>
#include <unordered_map>

namespace Keld::TreeReader
{
/// Where the bytes of a file lie on disk.
struct FileLocation
{
    bool found = false;         ///< the file is there, and an archive's index knows the path
    std::filesystem::path file; ///< the plain file, or the archive's data file; for a missing one, where it was sought
    uint64 offset = 0;          ///< bytes from the start of that file
    uint64 storedSize = 0;      ///< bytes of the stored form
};

/// Finds files of one project on disk without changing anything there. Reads each archive directory once.
class FileLocator
{
public:
    FileLocator(TreePlaces tree, std::string project);

    /// `release` selects the directory of naked files; all others lie under their own version.
    FileLocation Locate(const ReleaseFile &file, MorvVersion release);

private:
    using ArchiveContents = std::unordered_map<std::string, FileLocation>; ///< by folded path

    const ArchiveContents &GetArchives(MorvVersion version);
    static void AddArchive(const std::filesystem::path &index, ArchiveContents &contents);

    TreePlaces mTree;
    std::string mProject;
    std::map<MorvVersion, ArchiveContents> mArchives;
};
} // namespace Keld::TreeReader
