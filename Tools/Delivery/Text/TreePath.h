#pragma once

#include "Tools/TreeReader/TreeSet.h"

#include <string>

namespace Keld::Delivery
{
/// What a file of a tree is for, by its place alone, in the order in which such files may appear: nothing comes before
/// what it counts on. (A shiplist and its signature are for those who bring releases; readers of a tree ignore them.)
enum class FileRole
{
    ArchiveData,
    ManagedFile,
    NakedFile,
    ArchiveIndex,
    ShipList,
    ShipListSignature,
    ReleaseManifest,
    ConfigurationManifest,
    SolutionManifest
};

/// "archive data", "managed file", ...
const char *NameOf(FileRole role);

/// A path below a tree's root, as "projects/client/releases/1.0.0.0/releasemanifest".
struct TreePath
{
    FileRole role = FileRole::NakedFile;
    TreeReader::ReleaseName name; ///< project or solution, and the version whose directory the file lies in
};

/// Says what a path is, or refuses it by name: what comes from a server or in a bundle may be brought nowhere but to a
/// place that a release can have files in. So no path begins with '/', none holds an empty name, "." or "..", a NUL, or
/// has 1,024 bytes or more.
TreeReader::Result<TreePath> ReadTreePath(const std::string &path);

/// A project or solution, by a name that came from elsewhere: refused where it would not be one directory's name.
TreeReader::Failure CheckDirectoryName(const std::string &name);
} // namespace Keld::Delivery
