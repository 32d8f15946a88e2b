#include "KeldMorvIO/listing/PathPrefixQueue.h"

#include <utility>

namespace Keld::MORV::Reader
{
void PathPrefixQueue::Push(uint32 directory, std::string prefix)
{
    mSize += prefix.size();
    mKept.push_back({directory, std::move(prefix)});
}

bool PathPrefixQueue::Pop(uint32 directory, std::string &prefix)
{
    if (mKept.empty() || mKept.front().directory != directory)
    {
        return false;
    }
    prefix = std::move(mKept.front().prefix);
    mSize -= prefix.size();
    mKept.pop_front();
    return true;
}
} // namespace Keld::MORV::Reader
