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
    for (std::size_t number = 1; number < useful; ++number)
    {
        threads.emplace_back(takeAll);
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
