#pragma once

#include "KeldFoundation/counters/Counter.h"
#include "KeldFoundation/counters/Stopwatch.h"

#include <string>

namespace Keld
{
// By these, code refers to counters of the process-wide registry. Each is looked up once, when the handle is built,
// and is good until the registry is reset.

/// One counter.
class CounterHandle
{
public:
    explicit CounterHandle(const std::string &name);

    Counter &Get() const { return *mCounter; }

    /// Adds 1, from any thread.
    void Increment() const;

private:
    Counter *mCounter;
};

/// A counter and its companion "<name>_LastValue", which the registry's lists leave out.
class ValueCounterHandle
{
public:
    explicit ValueCounterHandle(const std::string &name);

    Counter &Get() const { return *mCounter; }
    Counter &GetLastValue() const { return *mLastValue; }

private:
    Counter *mCounter;
    Counter *mLastValue;
};

/// A counter of time, with the stopwatch that measures it.
class TimedCounterHandle
{
public:
    explicit TimedCounterHandle(const std::string &name);

    Stopwatch &GetStopwatch() { return mStopwatch; }
    Counter &Get() const { return *mCounter; }

private:
    Stopwatch mStopwatch;
    Counter *mCounter;
};
} // namespace Keld
