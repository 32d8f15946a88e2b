#pragma once

#include "Tools/TreeReader/View.h"

#include <string>
#include <vector>

namespace Keld::Morv
{
/// What a path means in a file system: the entry that a program gets, and all others of that path.
struct PathAnswer
{
    TreeReader::Hit winner;

    /// For a directory that wins: those of later layers, whose content shows in it.
    std::vector<TreeReader::Hit> merged;

    /// What a program does not get, because the winner stands before it: in later layers, and in its own where a
    /// damaged manifest lists the path more than once.
    std::vector<TreeReader::Hit> hidden;

    /// Files that a manifest lists, but that the library leaves out because they are missing on disk.
    std::vector<TreeReader::Hit> missing;
};

/// \param path canonical; the empty one is the root.
PathAnswer AnswerPath(const TreeReader::View &view, const std::string &path);

/// How something hidden compares with what hides it.
enum class Relation
{
    EqualFile,       ///< two files of the same size and digest
    DifferentFile,   ///< two files with different contents
    FileUnder,       ///< a file, hidden by a directory
    DirectoryUnder,  ///< a directory, hidden by a file
    SecondDirectory, ///< a directory that a damaged manifest lists a second time
};

Relation CompareHidden(const TreeReader::View &view, const TreeReader::Hit &winner, const TreeReader::Hit &hidden);

/// "equal", "different", "file-under-directory", "directory-under-file", "second-directory".
const char *NameOf(Relation relation);
} // namespace Keld::Morv
