#pragma once

#include <cstdint>
#include <functional>
#include <string>
#include <vector>

namespace Keld::Test
{
/// What one run of the command line tool gave.
struct ToolResult
{
    int exitCode = -1; ///< -1 when it did not end by itself
    std::string out;
    std::string error;
    std::uint64_t peakMemory = 0; ///< bytes that were resident at most; those of this process count, where it began
};

/// Runs the tool as a process of its own, in `directory`.
ToolResult RunMorv(const std::string &directory, const std::vector<std::string> &arguments);

/// The same with a descriptor of the caller as its standard output; `out` is empty.
ToolResult RunMorvInto(const std::string &directory, const std::vector<std::string> &arguments, int output);

/// The same where no file can get a byte, as on a full disk. Gives standard output and standard error both as `out`.
ToolResult RunMorvWithoutRoom(const std::string &directory, const std::vector<std::string> &arguments);

/// The same on a terminal, which takes standard output and standard error and gives both as `out`, with its own line
/// ends.
ToolResult RunMorvOnTerminal(const std::string &directory, const std::vector<std::string> &arguments);

/// The same for work that a child of this process does, and that ends the child.
ToolResult RunOnTerminal(const std::function<void()> &work);
} // namespace Keld::Test
