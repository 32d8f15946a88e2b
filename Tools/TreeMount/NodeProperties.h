#pragma once

#include "Tools/TreeMount/MountedTree.h"

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace Keld::TreeMount
{
/// One extended attribute of a mounted file or directory.
struct NodeProperty
{
    std::string name; ///< "user.morv.project"
    std::string value;
};

/// Where a file or directory comes from: project and release of the layer that answers; of a file also the version that
/// brought it, how and where it is stored, and its digest.
std::vector<NodeProperty> GetProperties(const MountedTree &tree, const TreeReader::Hit &node);

/// One of them. Gives no value for a name that is none of them, without looking anything up.
std::optional<std::string> FindProperty(const MountedTree &tree, const TreeReader::Hit &node, std::string_view name);
} // namespace Keld::TreeMount
