#pragma once

#include "KeldMorvIO/environment/MultiListingIterator.h"
#include "KeldMorvIO/environment/NameMatches.h"

#include <memory>
#include <string>

// What stands behind the opaque handles of KeldMorvIO.h.

/// One open of a file. Two opens of one path are two records of one entry, whose open count keeps them apart.
struct OpenFileHandle
{
    Keld::MORV::Reader::ProjectListing *mListing;                ///< borrowed
    const Keld::MORV::Reader::ProjectListing::FileEntry *mEntry; ///< borrowed from the listing
    const Keld::MORV::Reader::UncompressedBlocks *mContent;      ///< of a compressed file, borrowed for the open
};

/// One enumeration, which stands on the first entry that it has not shown or passed over.
struct FindHandle
{
    std::unique_ptr<Keld::MORV::Reader::MultiListingIterator> mIterator;
    std::string mPattern; ///< what stands behind the last separator of the consumer's path
    Keld::MORV::Reader::NameMatches mMatches;
};
