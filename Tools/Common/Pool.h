#pragma once

#include "Tools/Common/ParallelWork.h"

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

    /// All that nobody has just now.
    std::vector<std::unique_ptr<Thing>> TakeAll()
    {
        const std::lock_guard<std::mutex> lock(mMutex);
        return std::exchange(mFree, {});
    }

private:
    std::mutex mMutex; ///< guards mFree
    std::vector<std::unique_ptr<Thing>> mFree;
};

/// Runs work(place, stretch) for every stretch on `threadCount` threads. A place is what one thread works with; what
/// waits in it when there are no more stretches is for finish(place), which runs on the threads as well.
template <class Place, class Work, class Finish>
void ForEachStretchInPlaces(unsigned threadCount, const std::vector<Stretch> &stretches, const Work &work,
                            const Finish &finish)
{
    Pool<Place> places;
    ForEachInParallel(threadCount, stretches.size(),
                      [&](std::size_t index)
                      {
                          std::unique_ptr<Place> place = places.Take();
                          work(*place, stretches[index]);
                          places.Give(std::move(place));
                      });
    const std::vector<std::unique_ptr<Place>> used = places.TakeAll();
    ForEachInParallel(threadCount, used.size(),
                      [&](std::size_t index)
                      {
                          finish(*used[index]);
                      });
}
} // namespace Keld::Common
