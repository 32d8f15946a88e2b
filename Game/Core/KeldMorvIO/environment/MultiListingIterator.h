#pragma once

#include "KeldMorvIO/listing/ProjectListing.h"

#include <memory>
#include <vector>

namespace Keld::MORV::Reader
{
/// Walks one directory in all listings that hold it, side by side in the order of names, and shows a name once: the
/// entry of the earlier listing. It stands on an entry from its construction on, until it has run out.
///
/// Subdirectories come before files as long as the first of the remaining listings still has subdirectories. Once that
/// listing has reached its files, they are compared by name with the subdirectories of the others, and a file may hide
/// a subdirectory of its name. That is the result of a single merge, and no second pass repairs it.
///
/// Belongs to one thread at a time. It points into the listings, which must outlive every call but the destructor.
class MultiListingIterator
{
public:
    using DirectoryIterators = std::vector<std::unique_ptr<ProjectListing::DirectoryIterator>>;

    /// \param iterators in the order of the listings; null ones and those of empty directories are dropped.
    explicit MultiListingIterator(DirectoryIterators iterators);

    MultiListingIterator(const MultiListingIterator &) = delete;
    MultiListingIterator &operator=(const MultiListingIterator &) = delete;

    /// False once all listings have run out.
    bool IsValid() const { return !mIterators.empty(); }

    /// The iterator that stands on the entry to show. Only while `IsValid`.
    const ProjectListing::DirectoryIterator &GetCurrent() const { return *mIterators[mCurrent]; }

    /// Steps to the next entry; false when there is none.
    bool Next();

private:
    /// Steps one iterator, and drops it when it has run out. False when it was dropped.
    bool Step(uint32 index);
    void PickCurrent();

    DirectoryIterators mIterators; ///< of the listings that have entries left, in the order of the listings
    uint32 mCurrent;               ///< index in mIterators of the iterator that stands on the entry to show
    bool mDirectoryPhase;          ///< at least one iterator stood on a subdirectory when the entry was picked
};
} // namespace Keld::MORV::Reader
