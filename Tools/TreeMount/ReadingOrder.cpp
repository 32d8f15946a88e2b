#include "Tools/TreeMount/ReadingOrder.h"

#include <algorithm>

namespace Keld::TreeMount
{
using TreeReader::EntryRange;
using TreeReader::Hit;

namespace
{
constexpr TreeReader::EntryIndex MostAhead = 8; // files
}

bool ReadingOrder::BeginAhead(const Hit &file, const EntryRange &siblings)
{
    const std::lock_guard<std::mutex> lock(mMutex);
    const bool follows = mLast && mLast.layer == file.layer && mLast.entry + 1 == file.entry;
    const bool isInOrder = file.entry == siblings.first || follows;
    const bool isSameDirectory = follows && mEnd == siblings.first + siblings.count;
    mLast = file;
    mEnd = isInOrder ? siblings.first + siblings.count : file.entry;
    mNextAhead = isSameDirectory ? std::max(mNextAhead, file.entry + 1) : file.entry + 1;
    if (!isInOrder || mIsWorking)
    {
        return false;
    }
    mIsWorking = true;
    return true;
}

Hit ReadingOrder::TakeNext()
{
    const std::lock_guard<std::mutex> lock(mMutex);
    if (mNextAhead >= mEnd || mNextAhead > mLast.entry + MostAhead)
    {
        mIsWorking = false;
        return {};
    }
    return {mLast.layer, mNextAhead++};
}
} // namespace Keld::TreeMount
