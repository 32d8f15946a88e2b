#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <condition_variable>
#include <cstddef>
#include <deque>
#include <exception>
#include <functional>
#include <mutex>
#include <optional>
#include <thread>
#include <vector>

namespace Keld::Common
{
/// Processors that this process may use, at least 1.
unsigned GetProcessorCount();

/// Runs work(index) for every index below `count` on `threadCount` threads, each taking the lowest index that is left.
/// With one thread everything runs on the caller's. After a failure no further index is begun, and the failure of the
/// lowest index that failed is thrown.
void ForEachInParallel(unsigned threadCount, std::size_t count, const std::function<void(std::size_t)> &work);

/// A row of indices that one thread takes at once.
struct Stretch
{
    std::size_t begin;
    std::size_t end;
};

struct StretchLimits
{
    uint64 bytes; ///< at most, but for the last index
    std::size_t count;
    unsigned threadCount;
};

/// Cuts all indices below `count` into stretches that cost as little as possible to hand out, but are so many that all
/// threads end at about the same time.
std::vector<Stretch> CutIntoStretches(std::size_t count, const StretchLimits &limits,
                                      const std::function<uint64(std::size_t)> &sizeOf);

/// Makes results on several threads and hands them on in order, so that what is done with them does not depend on the
/// number of threads.
///
/// Each index has a weight, in bytes. No index is begun while the results that are being made or wait to be consumed
/// would weigh more than `budget` with it; one is always allowed.
template <class Result>
class OrderedWork
{
public:
    using Weigh = std::function<uint64(std::size_t index)>;
    using Produce = std::function<Result(std::size_t index)>;
    using Consume = std::function<void(std::size_t index, Result &&result)>;

    OrderedWork(unsigned threadCount, uint64 budget) : mThreadCount(threadCount), mBudget(budget) {}

    /// Calls `produce` on the threads and `consume` on the caller's, in ascending order. The first failure in that
    /// order ends the work and is thrown, after all threads have ended.
    void Run(std::size_t count, const Weigh &weigh, const Produce &produce, const Consume &consume)
    {
        mCount = count;
        std::vector<std::thread> threads;
        const Joiner joiner{*this, threads};
        try
        {
            for (unsigned number = 0; number < mThreadCount && mThreadCount > 1; ++number)
            {
                threads.emplace_back(
                    [this, &weigh, &produce]
                    {
                        ProduceAll(weigh, produce);
                    });
            }
        }
        catch (const std::exception &)
        {
            // The system gives no more threads: those that there are do the work.
        }
        if (!threads.empty())
        {
            ConsumeAll(weigh, consume);
            return;
        }
        for (std::size_t index = 0; index < count; ++index)
        {
            consume(index, produce(index));
        }
    }

private:
    struct Slot
    {
        std::optional<Result> result;
        std::exception_ptr failure;
    };

    /// Ends the threads on every way out.
    struct Joiner
    {
        ~Joiner()
        {
            {
                const std::lock_guard<std::mutex> lock(work.mMutex);
                work.mEnding = true;
            }
            work.mRoom.notify_all();
            for (std::thread &thread : threads)
            {
                thread.join();
            }
        }

        OrderedWork &work;
        std::vector<std::thread> &threads;
    };

    void ProduceAll(const Weigh &weigh, const Produce &produce)
    {
        std::unique_lock<std::mutex> lock(mMutex);
        while (!mEnding && mNext < mCount)
        {
            const uint64 weight = weigh(mNext);
            if (!mSlots.empty() && mWeight + weight > mBudget)
            {
                mRoom.wait(lock);
                continue;
            }
            Slot *room = nullptr;
            try
            {
                room = &mSlots.emplace_back(); // a deque: stays where it is while its ends move
            }
            catch (...)
            {
                mBroken = std::current_exception();
                mMade.notify_one();
                return;
            }
            Slot &slot = *room;
            const std::size_t index = mNext++;
            mWeight += weight;
            lock.unlock();
            Slot made;
            try
            {
                made.result.emplace(produce(index));
            }
            catch (...)
            {
                made.failure = std::current_exception();
            }
            lock.lock();
            slot = std::move(made);
            mMade.notify_one();
        }
    }

    void ConsumeAll(const Weigh &weigh, const Consume &consume)
    {
        for (std::size_t index = 0; index < mCount; ++index)
        {
            std::unique_lock<std::mutex> lock(mMutex);
            const auto isMade = [this]
            {
                return mBroken || (!mSlots.empty() && (mSlots.front().result || mSlots.front().failure));
            };
            mMade.wait(lock, isMade);
            if (mBroken)
            {
                std::rethrow_exception(mBroken);
            }
            Slot slot = std::move(mSlots.front());
            lock.unlock();
            if (slot.failure)
            {
                std::rethrow_exception(slot.failure);
            }
            consume(index, std::move(*slot.result));
            slot.result.reset(); // its memory goes before its weight does
            lock.lock();
            mSlots.pop_front();
            mWeight -= weigh(index);
            lock.unlock();
            mRoom.notify_all();
        }
    }

    const unsigned mThreadCount;
    const uint64 mBudget;
    std::size_t mCount = 0;

    std::mutex mMutex; // guards everything below
    std::condition_variable mMade;
    std::condition_variable mRoom;
    std::deque<Slot> mSlots; // of the indices that are begun and not consumed, in order
    std::size_t mNext = 0;
    uint64 mWeight = 0;
    std::exception_ptr mBroken; // no memory for one more slot
    bool mEnding = false;
};
} // namespace Keld::Common
