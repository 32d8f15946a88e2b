#pragma once

#include "KeldFoundation/counters/Counter.h"
#include "KeldFoundation/sync/Mutex.h"

#include <map>
#include <string>
#include <utility>
#include <vector>

namespace Keld
{
/// The named counters of the process.
class CounterRegistry
{
public:
    /// The process-wide one, made at the first call. It is never destroyed, since messages are logged until the end.
    static CounterRegistry &Get();

    CounterRegistry();
    ~CounterRegistry();

    CounterRegistry(const CounterRegistry &) = delete;
    CounterRegistry &operator=(const CounterRegistry &) = delete;

    /// The counter of that name, made with the value 0 if there is none. Its kind becomes the given one in both cases.
    /// The pointer stays valid until `Reset`.
    Counter *Lookup(const std::string &name, uint32 kindLow, uint32 kindHigh);

    /// Puts a new counter under a name, without a lock, whether or not the name has one. A counter that it had before
    /// is left to its holders, and no longer freed by the registry.
    Counter *Create(const std::string &name);

    /// False for an unknown name; `result` is untouched then.
    bool GetValue(uint64 &result, const std::string &name);

    /// Fills `result` with names and values in the order of the names. Last-value companions are left out.
    void GetAll(std::vector<std::pair<std::string, uint64>> &result);

    void Activate();

    /// Frees every counter. Pointers held elsewhere dangle from then on.
    void Reset();

private:
    void FreeCounters();

    bool mActive; ///< nothing reads it
    std::map<std::string, Counter *> mCounters;
    Mutex mMutex; ///< guards all of the above, except in `Create`
};
} // namespace Keld
