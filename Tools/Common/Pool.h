#pragma once

#include <memory>
#include <mutex>
#include <utility>
#include <vector>

namespace Keld::Common
{
/// Things that are dear to make and are used by one thread at a time: whoever needs one takes it, and gives it back for
/// the next. Any thread may ask.
template <class Thing>
class Pool
{
public:
    std::unique_ptr<Thing> Take()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        if (mFree.empty())
        {
            return std::make_unique<Thing>();
        }
        std::unique_ptr<Thing> thing = std::move(mFree.back());
        mFree.pop_back();
        return thing;
    }

    void Give(std::unique_ptr<Thing> thing)
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        mFree.push_back(std::move(thing));
    }

private:
    std::mutex mMutex; ///< guards mFree
    std::vector<std::unique_ptr<Thing>> mFree;
};
} // namespace Keld::Common
