#pragma once

#include "Tools/Delivery/Sums/WorkCalls.h"
#include "Tools/TreeReader/TreeSet.h"

#include "KeldFoundation/CStd/LargeVector.h"

#include <string>

namespace Keld::Delivery
{
/// Whether a release in a tree is another one than a manifest from elsewhere tells of, and no damaged copy of it: it
/// lists other files, or as a solution binds other releases, and is whole by itself. Reads all of such a release.
/// \param theirs the manifest from elsewhere, of the same project or solution and version
bool IsAnotherRelease(const std::string &root, const TreeReader::ReleaseName &name, const LargeVector<char> &theirs,
                      unsigned threadCount, const WorkCalls &calls);
} // namespace Keld::Delivery
