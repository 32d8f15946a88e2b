#pragma once

namespace Keld
{
/// The end of a process that could not make one of its locks: a crash report, without a message.
[[noreturn]] inline void EndProcess()
{
    __builtin_trap();
}
} // namespace Keld
