#include "Tools/Common/ParallelWork.h"

#include <algorithm>

#include <sched.h>

namespace Keld::Common
{
unsigned GetProcessorCount()
{
    cpu_set_t allowed;
    CPU_ZERO(&allowed);
    const int count = sched_getaffinity(0, sizeof allowed, &allowed) == 0 ? CPU_COUNT(&allowed) : 0;
    return count > 0 ? static_cast<unsigned>(count) : std::max(1U, std::thread::hardware_concurrency());
}

std::vector<Stretch> CutIntoStretches(std::size_t count, const StretchLimits &limits,
                                      const std::function<uint64(std::size_t)> &sizeOf)
{
    constexpr uint64 fewestBytes = 1 << 18;
    constexpr uint64 stretchesPerThread = 16;
    uint64 total = 0;
    for (std::size_t index = 0; index < count; ++index)
    {
        total += sizeOf(index);
    }
    const uint64 share = total / (stretchesPerThread * std::max(1U, limits.threadCount));
    const uint64 most = std::min(limits.bytes, std::max(fewestBytes, share));
    std::vector<Stretch> stretches;
    uint64 bytes = 0;
    for (std::size_t index = 0; index < count; ++index)
    {
        if (stretches.empty() || bytes >= most || index - stretches.back().begin >= limits.count)
        {
            stretches.push_back({index, index});
            bytes = 0;
        }
        stretches.back().end = index + 1;
        bytes += sizeOf(index);
    }
    return stretches;
}

void ForEachInParallel(unsigned threadCount, std::size_t count, const std::function<void(std::size_t)> &work)
{
    std::mutex mutex; // guards the three below
    std::size_t next = 0;
    std::size_t failed = count;
    std::exception_ptr failure;
    const auto takeAll = [&]
    {
        std::unique_lock<std::mutex> lock(mutex);
        while (!failure && next < count)
        {
            const std::size_t index = next++;
            lock.unlock();
            std::exception_ptr caught;
            try
            {
                work(index);
            }
            catch (...)
            {
                caught = std::current_exception();
            }
            lock.lock();
            if (caught && index < failed)
            {
                failed = index;
                failure = caught;
            }
        }
    };

    std::vector<std::thread> threads;
    const std::size_t useful = std::min<std::size_t>(threadCount, count);
    try
    {
        for (std::size_t number = 1; number < useful; ++number)
        {
            threads.emplace_back(takeAll);
        }
    }
    catch (const std::exception &)
    {
        // The system gives no more threads: those that there are do the work.
    }
    takeAll();
    for (std::thread &thread : threads)
    {
        thread.join();
    }
    if (failure)
    {
        std::rethrow_exception(failure);
    }
}
} // namespace Keld::Common
