#pragma once

#include "Tools/Delivery/WorkCalls.h"
#include "Tools/TreeReader/TreeSet.h"

#include "KeldFoundation/CStd/LargeVector.h"

#include <string>

namespace Keld::Delivery
{
/// Whether a project release in a tree is another one than a manifest from elsewhere tells of, and no damaged copy of
/// it: it lists other files, and is whole by itself. Reads all of a release whose manifest lists other files.
/// \param theirs the manifest from elsewhere, of the same project and version
bool IsAnotherRelease(const std::string &root, const TreeReader::ReleaseName &name, const LargeVector<char> &theirs,
                      unsigned threadCount, const WorkCalls &calls);
} // namespace Keld::Delivery
