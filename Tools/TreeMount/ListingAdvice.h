#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <atomic>

namespace Keld::TreeMount
{
/// Guesses whether the kernel will want to know more of a directory's files than their names. To be told all spares it
/// a call for each file that is looked at, but costs it an inode for each that is not: "du" gains by it what "find"
/// loses. So files are told in full as long as it was seen lately that files are looked up. Now and then a small
/// directory is told by its names alone, to see whether that still holds. Any thread may ask.
class ListingAdvice
{
public:
    /// A file was looked up by its name.
    void NoteLookup()
    {
        mFullLeft.store(FullListings, std::memory_order_relaxed);
        mLooksUp.store(true, std::memory_order_relaxed);
    }

    /// Whether the next piece of a directory should tell all of its files.
    /// \param fileCount of the directory.
    bool ShouldTellAll(uint32 fileCount)
    {
        if (mFullLeft.load(std::memory_order_relaxed) > 0)
        {
            mFullLeft.fetch_sub(1, std::memory_order_relaxed);
            return true;
        }
        if (fileCount > SmallDirectory)
        {
            return mLooksUp.load(std::memory_order_relaxed);
        }
        mLooksUp.store(false, std::memory_order_relaxed);
        return false;
    }

private:
    static constexpr int FullListings = 64;
    static constexpr uint32 SmallDirectory = 64;

    std::atomic<int> mFullLeft{0};     ///< listings until the next trial
    std::atomic<bool> mLooksUp{false}; ///< files were looked up since the last trial
};
} // namespace Keld::TreeMount
