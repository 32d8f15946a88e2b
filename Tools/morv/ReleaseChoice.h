#pragma once

#include "Tools/morv/TreeChoice.h"

#include <string>
#include <vector>

namespace Keld::Morv
{
/// Releases and solutions of one tree.
struct NamedReleases
{
    std::string root;
    std::vector<TreeReader::ReleaseName> names;
};

/// What a person names, all of it in one tree; no names stand for all releases and solutions of the tree. Throws
/// TreeError where there is no tree or nothing in it, and UsageError for names of two trees.
NamedReleases ResolveReleases(const std::vector<std::string> &texts, const CommonOptions &common,
                              const std::string &typedRoot);

/// The same tree without its names. Throws TreeError where there is none.
std::string RequireTree(const std::string &typedRoot, const CommonOptions &common);
} // namespace Keld::Morv
