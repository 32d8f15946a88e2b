#pragma once

#include "Tools/TreeChecker/ReleaseSet.h"

namespace Keld::TreeChecker
{
/// Holds what a release manifest says by itself against what a reader can make of it: its own name, the names of
/// directories and files, what no path leads to, bits and counts without a meaning.
void CheckManifest(const CheckedRelease &checked, CheckReport &report);
} // namespace Keld::TreeChecker
