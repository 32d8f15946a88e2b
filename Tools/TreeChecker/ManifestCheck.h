#pragma once

#include "Tools/TreeChecker/ReleaseSet.h"

namespace Keld::TreeChecker
{
/// Holds what a release manifest says by itself against what a reader can make of it: its own name, the names of
/// directories and files, what no path leads to, bits and counts without a meaning.
void CheckManifest(const CheckedRelease &checked, CheckReport &report);

/// Holds the names in a solution's text manifests against its directory and against one another.
void CheckSolution(const std::string &directory, const TreeReader::ReleaseName &name, uint32 user, CheckReport &report);
} // namespace Keld::TreeChecker
