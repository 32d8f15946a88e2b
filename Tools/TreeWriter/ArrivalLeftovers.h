#pragma once

#include <string>
#include <vector>

namespace Keld::TreeWriter
{
/// In a tree's root: one directory for each fetch, repair or application of a bundle, in which files are collected
/// before they come to their places. Whoever collects holds the lock of that directory; a process that was killed
/// leaves it behind without one, and the next run of the same goes on with it.
inline constexpr const char *ArrivingDirectory = "arriving";

/// Those that no process holds, by their paths below the root, ascending.
std::vector<std::string> FindArrivalLeftovers(const std::string &root);

/// Removes them. One that somebody takes meanwhile stays. Throws std::system_error.
/// \returns those that were removed
std::vector<std::string> RemoveArrivalLeftovers(const std::string &root);
} // namespace Keld::TreeWriter
