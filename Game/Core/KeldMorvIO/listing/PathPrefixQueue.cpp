#include "KeldMorvIO/listing/PathPrefixQueue.h"

namespace Keld::MORV::Reader
{
namespace
{
// So much text that was taken out may stand in front of what is kept, at least, before it is moved away.
constexpr uint_size SmallestMove = 0x10000;
} // namespace

void PathPrefixQueue::Push(uint32 directory, std::string_view start, std::string_view name)
{
    mText.append(start).append(name).push_back('/');
    mKept.push_back({directory, static_cast<uint32>(start.size() + name.size() + 1)});
}

bool PathPrefixQueue::Pop(uint32 directory, std::string &prefix)
{
    if (mKept.empty() || mKept.front().directory != directory)
    {
        return false;
    }
    prefix.assign(mText, mTextAt, mKept.front().length);
    mTextAt += mKept.front().length;
    mKept.pop_front();
    if (mTextAt >= SmallestMove && mTextAt >= mText.size() / 2)
    {
        mText.erase(0, mTextAt);
        mTextAt = 0;
    }
    return true;
}
} // namespace Keld::MORV::Reader
