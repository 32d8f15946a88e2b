#pragma once

#include "Tools/TreeReader/TreePlaces.h"

#include <string>
#include <vector>

namespace Keld::TreeWriter
{
/// Removes the shiplists of all solutions that use a release which was packed anew, and the signatures over them: they
/// tell of files that are no more. For the holder of the project's lock, without which nobody publishes them.
/// \returns a sentence about each solution whose list went, and about each of which nobody can tell whether it is stale
std::vector<std::string> RemoveStaleShipLists(const TreeReader::TreePlaces &tree, const std::string &project,
                                              MorvVersion release, bool sync);
} // namespace Keld::TreeWriter
