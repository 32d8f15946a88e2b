#pragma once

#include "KeldMorvIO/listing/ManifestTables.h"
#include "KeldMorvIO/listing/ProjectListing.h"

namespace Keld::MORV::Reader
{
/// In whose name construction logs.
inline constexpr const char *CreateListingSignature =
    "Keld::MORV::Reader::ProjectListing *Keld::MORV::Reader::ReleaseManifestTemplate<EntryType>::CreateListing("
    "const char *) const";

/// Makes the resident tree of a checked and sorted manifest from what is found below the deployment root.
/// \returns a listing that the caller owns, or null.
ProjectListing *ConstructListing(const ManifestTables &manifest, const char *root);
} // namespace Keld::MORV::Reader
