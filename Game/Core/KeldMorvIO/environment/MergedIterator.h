#pragma once

#include "KeldMorvIO/environment/NameComparisons.h"

#include "KeldFoundation/CStd/BasicTypes.h"

#include <algorithm>
#include <cstddef>
#include <memory>
#include <utility>
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
/// `Iterator` walks one listing: it has GetName, IsDirectory, IsValid and Next, as DirectoryIterator. A name must stay
/// where it is, and as it is, for as long as the walk.
template <class Iterator>
class MergedIterator
{
public:
    using DirectoryIterators = std::vector<std::unique_ptr<Iterator>>;

    /// \param iterators in the order of the listings; null ones and those of empty directories are dropped.
    explicit MergedIterator(DirectoryIterators iterators) : mIterators(std::move(iterators)), mDirectoryPhase(true)
    {
        std::erase_if(mIterators,
                      [](const auto &iterator)
                      {
                          return iterator == nullptr || !iterator->IsValid();
                      });
        // One past the last, so that the first call to Next steps nobody and only picks.
        mCurrent = static_cast<uint32>(mIterators.size());
        Next();
    }

    MergedIterator(const MergedIterator &) = delete;
    MergedIterator &operator=(const MergedIterator &) = delete;

    /// False once all listings have run out.
    bool IsValid() const { return !mIterators.empty(); }

    /// The iterator that stands on the entry to show. Only while `IsValid`.
    const Iterator &GetCurrent() const { return *mIterators[mCurrent]; }

    /// Steps to the next entry; false when there is none.
    bool Next()
    {
        if (mCurrent < mIterators.size())
        {
            Step(mCurrent);
        }
        mDirectoryPhase = std::any_of(mIterators.begin(), mIterators.end(),
                                      [](const auto &iterator)
                                      {
                                          return iterator->IsDirectory();
                                      });
        if (mIterators.empty())
        {
            return false;
        }
        PickCurrent();
        return true;
    }

private:
    /// Steps one iterator, and drops it when it has run out. False when it was dropped.
    bool Step(uint32 index)
    {
        if (mIterators[index]->Next())
        {
            return true;
        }
        mIterators.erase(mIterators.begin() + static_cast<std::ptrdiff_t>(index));
        return false;
    }

    void PickCurrent()
    {
        // The first iterator is a candidate whatever it stands on; only the others must be of the phase's kind.
        mCurrent = 0;
        const char *bestName = mIterators[0]->GetName();
        uint32 index = 1;
        while (index < mIterators.size())
        {
            const Iterator &candidate = *mIterators[index];
            bool dropped = false;
            if (candidate.IsDirectory() == mDirectoryPhase)
            {
                const int order = mComparisons.Compare(candidate.GetName(), bestName);
                if (order < 0)
                {
                    mCurrent = index;
                    bestName = candidate.GetName();
                }
                else if (order == 0)
                {
                    // The later listing's entry of that name is never shown. Where it steps to is looked at next time.
                    dropped = !Step(index);
                }
            }
            // What follows a dropped iterator has moved into its place.
            index += dropped ? 0 : 1;
        }
    }

    NameComparisons mComparisons;
    DirectoryIterators mIterators; ///< of the listings that have entries left, in the order of the listings
    uint32 mCurrent;               ///< index in mIterators of the iterator that stands on the entry to show
    bool mDirectoryPhase;          ///< at least one iterator stood on a subdirectory when the entry was picked
};
} // namespace Keld::MORV::Reader
