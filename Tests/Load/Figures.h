#pragma once

#include <cstddef>

namespace Keld::Test::Load
{
/// What the process has in use.
struct Figures
{
    std::size_t descriptors = 0;
    std::size_t threads = 0;
    std::size_t bytes = 0; ///< that were allocated and not freed

    static Figures Now();

    /// The same, once the system has forgotten every thread but so many, which it does a moment after the last of them
    /// was joined.
    static Figures WithThreads(std::size_t threads);
};

/// The number that the next file would get.
int LowestFreeDescriptor();
} // namespace Keld::Test::Load
