#include "KeldMorvIO/environment/MultiListingIterator.h"

#include "KeldFoundation/CStd/CStd.h"

#include <algorithm>
#include <cstddef>

namespace Keld::MORV::Reader
{
MultiListingIterator::MultiListingIterator(DirectoryIterators iterators)
    : mIterators(std::move(iterators)), mDirectoryPhase(true)
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

bool MultiListingIterator::Next()
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

bool MultiListingIterator::Step(uint32 index)
{
    if (mIterators[index]->Next())
    {
        return true;
    }
    mIterators.erase(mIterators.begin() + static_cast<std::ptrdiff_t>(index));
    return false;
}

void MultiListingIterator::PickCurrent()
{
    // The first iterator is a candidate whatever it stands on; only the others must be of the phase's kind.
    mCurrent = 0;
    const char *bestName = mIterators[0]->GetName();
    uint32 index = 1;
    while (index < mIterators.size())
    {
        const ProjectListing::DirectoryIterator &candidate = *mIterators[index];
        bool dropped = false;
        if (candidate.IsDirectory() == mDirectoryPhase)
        {
            const int order = std_stricmp(candidate.GetName(), bestName);
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
} // namespace Keld::MORV::Reader
