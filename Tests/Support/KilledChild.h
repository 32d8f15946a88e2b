#pragma once

#include <functional>

namespace Keld::Test
{
/// Does work in a process of its own. Any other end than by SIGKILL or by itself is a failure of the test, and so is an
/// exception, which is told on standard error.
/// \returns whether SIGKILL ended it
bool IsKilledDoing(const std::function<void()> &work);

/// Kills its process when it is called as often as told, the first time being number 0. By any thread.
std::function<void()> KillAtCall(int number);
} // namespace Keld::Test
