#pragma once

#include "Tools/Delivery/Sums/WorkCalls.h"
#include "Tools/TreeChecker/TreeCheck.h"
#include "Tools/TreeReader/TreeSet.h"

#include <string>
#include <vector>

namespace Keld::Delivery
{
/// Checks every byte of some releases of a tree, and tells `calls` how far it is.
TreeChecker::CheckReport CheckReleases(const std::string &root, const std::vector<TreeReader::ReleaseName> &releases,
                                       unsigned threadCount, const WorkCalls &calls);
} // namespace Keld::Delivery
