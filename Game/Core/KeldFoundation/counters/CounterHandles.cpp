#include "KeldFoundation/counters/CounterHandles.h"

#include "KeldFoundation/counters/CounterRegistry.h"

#include <atomic>

namespace Keld
{
CounterHandle::CounterHandle(const std::string &name) : mCounter(CounterRegistry::Get().Lookup(name, 0, 0)) {}

void CounterHandle::Increment() const
{
    const std::atomic_ref<uint64> value(mCounter->mValue);
    uint64 seen = value.load(std::memory_order_relaxed);
    while (!value.compare_exchange_weak(seen, seen + 1, std::memory_order_relaxed))
    {
    }
}

ValueCounterHandle::ValueCounterHandle(const std::string &name)
    : mCounter(CounterRegistry::Get().Lookup(name, 0, 0)),
      mLastValue(CounterRegistry::Get().Lookup(name + "_LastValue", LowWord(Counter::KindLastValue), 0))
{
}

TimedCounterHandle::TimedCounterHandle(const std::string &name) : mCounter(CounterRegistry::Get().Lookup(name, 0, 0)) {}
} // namespace Keld
