#pragma once

#include "KeldFoundation/counters/Counter.h"
#include "KeldFoundation/counters/Stopwatch.h"

#include <string>

namespace Keld
{
// Code refers to counters of the process-wide registry by handles. A handle looks its counter up once, when it is
// built, and is valid until the registry is reset.

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
