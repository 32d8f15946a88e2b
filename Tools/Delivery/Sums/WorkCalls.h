#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

#include <functional>

namespace Keld::Delivery
{
/// How whoever asks for a long work follows it.
struct WorkCalls
{
    /// Called once before each stage of the work, with a word for it and the bytes that it will read or write.
    std::function<void(const char *stage, uint64 total)> begin = [](const char *, uint64) {};

    /// Called with the bytes that are done since the last call. By any thread.
    std::function<void(uint64)> advance = [](uint64) {};

    /// Called again and again, by any thread, also while somebody else holds a lock. What it throws ends the work.
    std::function<void()> checkpoint = [] {};
};
} // namespace Keld::Delivery
