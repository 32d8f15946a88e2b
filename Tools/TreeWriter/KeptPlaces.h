#pragma once

#include "Tools/TreeReader/View.h"

#include <string>
#include <unordered_map>
#include <unordered_set>

namespace Keld::TreeWriter
{
/// Where a path leads when all links on it are followed; empty where nothing is. Throws TreeError where the system does
/// not tell.
std::string SettlePath(const std::string &path);

// Directories below the root of a tree: of a release, and of all of a project or solution.
std::string PathOf(const TreeReader::ReleaseName &release);
std::string ReleasesOf(bool isSolution, const std::string &name);

/// Files and directories of a tree that must stay, by where they lie in the end: a link leads there by another path,
/// and nothing is to be taken from behind it. For one thread.
class KeptPlaces
{
public:
    /// \param root of the tree
    explicit KeptPlaces(std::string root) : mRoot(std::move(root)) {}

    /// \param path below the root; what it leads to stays, and so does a link that it is itself
    void Add(const std::string &path);

    /// All that a release or solution is served from, and its directories. Throws TreeError where that cannot be told.
    void AddParts(const TreeReader::View &view, unsigned threadCount);

    /// Whether a file or directory itself has to stay, and not only what it leads to.
    bool Holds(const std::string &path) const;

private:
    std::string PlaceOf(const std::string &path) const;

    const std::string mRoot;
    std::unordered_set<std::string> mPlaces;
    mutable std::unordered_map<std::string, std::string> mDirectories; ///< where those lead that were asked for
};
} // namespace Keld::TreeWriter
