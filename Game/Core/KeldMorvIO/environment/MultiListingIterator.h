#pragma once

#include "KeldMorvIO/environment/MergedIterator.h"
#include "KeldMorvIO/listing/ProjectListing.h"

namespace Keld::MORV::Reader
{
/// The merged walk of the library's own listings.
///
/// Belongs to one thread at a time. It points into the listings, which must outlive every call but the destructor.
class MultiListingIterator final : public MergedIterator<ProjectListing::DirectoryIterator>
{
public:
    using MergedIterator::MergedIterator;
};
} // namespace Keld::MORV::Reader
