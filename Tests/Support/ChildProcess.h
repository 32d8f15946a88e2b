#pragma once

#include <functional>

#include <sys/types.h>

namespace Keld::Test
{
/// Does work in a process of its own, which then ends with status 0; with 1 after an exception, which is told on
/// standard error.
pid_t StartChild(const std::function<void()> &work);

/// Waits until a child has ended.
/// \returns its status, as waitpid gives it
int WaitForChild(pid_t child);
} // namespace Keld::Test
