#pragma once

#include <cstdint>
#include <functional>

#include <sys/types.h>

namespace Keld::Test
{
/// Does work in a process of its own, which then ends with status 0; with 1 after an exception, which is told on
/// standard error.
pid_t StartChild(const std::function<void()> &work);

/// How a child ended.
struct ChildEnd
{
    int status = 0;               ///< as waitpid gives it
    std::uint64_t peakMemory = 0; ///< bytes that were resident at most; those of its parent count, where it began
};

/// Waits until a child has ended.
ChildEnd WaitForEnd(pid_t child);

/// The same.
/// \returns its status
int WaitForChild(pid_t child);
} // namespace Keld::Test
