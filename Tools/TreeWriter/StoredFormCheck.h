#pragma once

#include "Tools/TreeWriter/PackPlan.h"
#include "Tools/TreeWriter/StoredForm.h"

#include <utility>
#include <vector>

namespace Keld::TreeWriter
{
/// A stored form with the index in the plan of the file that it is for.
using FormOfFile = std::pair<std::size_t, StoredForm>;

/// Reads everything back that was written, on the request's threads, and holds it against the digests of the plan.
/// Throws TreeError for the first form that is not what it was.
void CheckStoredForms(const PackRequest &request, const std::vector<PlannedFile> &plan,
                      const std::vector<FormOfFile> &forms);
} // namespace Keld::TreeWriter
