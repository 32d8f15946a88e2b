#pragma once

#include "Tools/TreeChecker/CheckReport.h"

#include <string>

namespace Keld::TreeChecker
{
/// Holds the names in a solution's text manifests against its directory and against one another.
void CheckSolution(const std::string &directory, const TreeReader::ReleaseName &name, uint32 user, CheckReport &report);
} // namespace Keld::TreeChecker
