#include "KeldFoundation/counters/CounterRegistry.h"

#include <atomic>
#include <memory>

namespace Keld
{
namespace
{
uint64 ReadValue(Counter &counter)
{
    return std::atomic_ref<uint64>(counter.mValue).load(std::memory_order_relaxed);
}
} // namespace

CounterRegistry &CounterRegistry::Get()
{
    static CounterRegistry *const registry = new CounterRegistry;
    return *registry;
}

CounterRegistry::CounterRegistry() : mActive(true) {}

CounterRegistry::~CounterRegistry()
{
    FreeCounters();
}

Counter *CounterRegistry::Lookup(const std::string &name, uint32 kindLow, uint32 kindHigh)
{
    const MutexLock lock(mMutex);
    const auto found = mCounters.find(name);
    Counter *const counter = found != mCounters.end() ? found->second : Create(name);
    counter->mKind = JoinWords(kindLow, kindHigh);
    return counter;
}

Counter *CounterRegistry::Create(const std::string &name)
{
    auto counter = std::make_unique<Counter>();
    mCounters[name] = counter.get();
    return counter.release();
}

bool CounterRegistry::GetValue(uint64 &result, const std::string &name)
{
    const MutexLock lock(mMutex);
    const auto found = mCounters.find(name);
    if (found == mCounters.end())
    {
        return false;
    }
    result = ReadValue(*found->second);
    return true;
}

void CounterRegistry::GetAll(std::vector<std::pair<std::string, uint64>> &result)
{
    const MutexLock lock(mMutex);
    result.clear();
    for (const auto &[name, counter] : mCounters)
    {
        if ((counter->mKind & Counter::KindLastValue) == 0)
        {
            result.emplace_back(name, ReadValue(*counter));
        }
    }
}

void CounterRegistry::Activate()
{
    const MutexLock lock(mMutex);
    mActive = true;
}

void CounterRegistry::Reset()
{
    const MutexLock lock(mMutex);
    FreeCounters();
    mCounters.clear();
    mActive = false;
}

void CounterRegistry::FreeCounters()
{
    for (const auto &[name, counter] : mCounters)
    {
        delete counter;
    }
}
} // namespace Keld
