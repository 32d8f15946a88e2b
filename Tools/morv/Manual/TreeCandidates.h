#pragma once

#include "Tools/TreeReader/Tree.h"

#include <string>
#include <vector>

namespace Keld::Morv
{
/// Where a command looks for its tree without --root.
enum class TreeSearch
{
    Around,      ///< around the directory alone
    AroundFirst, ///< there, then in the variable MORV_ROOT
    NamedFirst   ///< in MORV_ROOT; in none around, but that is better than no word to offer
};

/// What a deployment tree has to offer for words of the command line. Where there is no tree, or it cannot be read,
/// there is nothing to offer: nobody wants an error while typing.
class TreeCandidates
{
public:
    /// \param root      what --root says; empty without.
    /// \param directory what -C says, else the current one.
    TreeCandidates(const std::string &root, const std::string &directory, TreeSearch search);

    std::vector<std::string> ListProjects() const;
    std::vector<std::string> ListSolutions() const;
    std::vector<std::string> ListVersions(const std::string &project) const;
    std::vector<std::string> ListSolutionVersions(const std::string &solution) const;

    /// All releases, as "client/1.0.0.0" and "solution:suite/0.0.1.0".
    std::vector<std::string> ListReferences() const;

    /// The children of the virtual directory that the word begins with, directories with "/" behind, each behind the
    /// directory as it was typed.
    /// \param reference a release, or empty for the one around the directory.
    std::vector<std::string> ListPaths(const std::string &reference, const std::string &word) const;

private:
    std::string mDirectory; ///< absolute
    std::string mRoot;      ///< empty without a tree

    mutable TreeReader::Tree::Doubts mUnseen; ///< what could not be looked at: nobody is told
};
} // namespace Keld::Morv
