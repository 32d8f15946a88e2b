#pragma once

#include "Tools/TreeReader/Fault.h"

#include <functional>
#include <string>
#include <vector>

#include <sys/stat.h>

// What stands in directories. The iterators of the C++ library end the process when memory runs out between two names;
// these throw.
namespace Keld::TreeReader
{
/// Takes a path and what stands there; of a link, the link itself. False ends the visit.
using DirectoryVisitor = std::function<bool(const std::string &path, const struct stat &status)>;

/// Shows what stands in a directory, in ascending order of the names. What vanishes meanwhile is left out.
Failure VisitDirectory(const std::string &directory, const DirectoryVisitor &visitor);

/// Shows all that stands below a directory, a directory before what is in it.
Failure VisitTree(const std::string &directory, const DirectoryVisitor &visitor);

/// Throws TreeError for a fault that leaves open what stands there. What is not there holds nothing.
void RequireNoDoubt(const Failure &failure);

/// The names in a directory, none where there is no directory. Throws TreeError where that is in doubt.
std::vector<std::string> RequireNames(const std::string &directory);
} // namespace Keld::TreeReader
