#pragma once

#include "Tools/Delivery/Bundles/BundleHead.h"
#include "Tools/Delivery/Bundles/BundleStream.h"
#include "Tools/Delivery/Sums/WorkCalls.h"
#include "Tools/TreeReader/TreeSet.h"

#include <optional>

namespace Keld::Delivery
{
struct BundleRequest
{
    TreeReader::Reference target;
    std::optional<TreeReader::Reference> base; ///< what whoever gets the bundle has already
    bool check = true;                         ///< decode everything first, so that no damage is shipped
    unsigned threadCount = 1;
    WorkCalls calls = {};
};

struct BundleReport
{
    BundleHead head;
    std::vector<uint64> sizes; ///< of the files in the head
    bool isSigned = false;     ///< whether a signature over the list of files was there to go along
};

/// Writes one file with everything that leads from the base to the target. The same request gives the same bytes.
/// Throws TreeError for releases that are not whole or cannot be shipped, and what the sink throws.
BundleReport WriteBundle(const BundleRequest &request, const BundleSink &sink);
} // namespace Keld::Delivery
