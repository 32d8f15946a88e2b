#pragma once

#include "Support/TempTree.h"

#include <map>
#include <memory>
#include <set>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::Test::Oracle
{
/// What lies on disk, twice: on the real one and in memory. Everything is written through this, so that the model never
/// has to look at a file. Paths that are written are absolute; the bytes of a file live on while somebody holds them,
/// as those of an open file do.
class Disk
{
public:
    using Content = std::shared_ptr<std::string>;

    const std::string &Root() const { return mTree.Root(); }

    /// Writes a whole file; one that is there keeps its place, as for somebody who has it open. Says whether it could.
    bool Write(const std::string &path, std::string_view bytes);
    bool MakeDirectory(const std::string &path);

    /// A symbolic link. It leads to a regular file, or nowhere.
    bool Link(const std::string &path, const std::string &target);
    void Remove(const std::string &path);

    /// Makes a directory the process's, from which relative paths are looked up.
    void WorkIn(const std::string &directory);

    /// The library was to remove this file by itself.
    void Forget(const std::string &path) { mFiles.erase(Absolute(path)); }

    /// The bytes of a regular file, or null.
    Content Find(const std::string &path) const;

    /// Regular files whose path holds a text.
    std::vector<std::string> Files(std::string_view part) const;

    /// The names of a directory that fit a pattern, in the disk's own order, without those of directories.
    static std::vector<std::string> NamesLike(const std::string &pattern);

    /// What is there and should not be, or the other way round; empty when all is well.
    std::string Difference() const;

    /// One line for each file, with its size.
    std::string Text() const;

private:
    std::string Absolute(const std::string &path) const;

    TempTree mTree;
    std::string mWorkingDirectory;
    std::set<std::string> mDirectories; ///< that were made here
    std::map<std::string, Content> mFiles;
};
} // namespace Keld::Test::Oracle
