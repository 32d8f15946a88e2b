#pragma once

#include "Tools/TreeWriter/PackPlan.h"

#include <vector>

namespace Keld::TreeWriter
{
/// Reads those large files whose digest decides whether they are stored at all.
void ReadLargeDigests(const PackRequest &request, std::vector<PlannedFile> &plan);
} // namespace Keld::TreeWriter
