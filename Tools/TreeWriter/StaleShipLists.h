#pragma once

#include "Tools/TreeReader/TreePlaces.h"

#include <string>
#include <vector>

namespace Keld::TreeWriter
{
/// Removes the shiplists of all solutions that use a release which was packed anew, and the signatures over them: they
/// tell of files that are no more. For the holder of the project's lock, without which nobody publishes them.
/// \returns the solutions, as "suite 0.0.1.0"
std::vector<std::string> RemoveStaleShipLists(const TreeReader::TreePlaces &tree, const std::string &project,
                                              MorvVersion release, bool sync);
} // namespace Keld::TreeWriter
