#pragma once

#include "Tools/TreeReader/TreeSet.h"
#include "Tools/morv/CommandSet.h"

#include <string>

namespace Keld::Morv
{
/// The help of a --root option that ChooseTree answers.
inline constexpr const char *TreeOptionHelp =
    "The tree in which names like client/1.0.0.0 are looked up (default: the one around the working directory, then "
    "$MORV_ROOT)";

/// The root of the tree that a command works with: what --root says, else the tree around the working directory, else
/// what the environment's MORV_ROOT says. Empty when there is none of them. Absolute, without symbolic links where it
/// exists. Throws TreeError for one that cannot be a root.
std::string ChooseTree(const std::string &typed, const std::string &workingDirectory);

/// What a person names: a release of the tree, or a directory in one. Two texts for one place give equal references.
TreeReader::Result<TreeReader::Reference> ResolveNamed(const std::string &text, const CommonOptions &common,
                                                       const std::string &typedRoot);
} // namespace Keld::Morv
