#pragma once

#include <string>

namespace Keld::Morv
{
/// The absolute path of a directory that can be mounted on. Throws TreeError with what to do when there is none, when a
/// mount stands there already or was left behind by a process that was killed, or when it is not empty.
std::string CheckMountPoint(const std::string &typed, bool allowNonEmpty);

/// Throws TreeError when a mount would hide the very files that are to be served: one lies in the other.
void CheckApart(const std::string &mountPoint, const std::string &treeRoot);
} // namespace Keld::Morv
