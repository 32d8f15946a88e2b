#pragma once

#include "Tools/Delivery/WantedSet.h"

#include <string>

// What a fetch asks of the tree around it, before files come and when they have.
namespace Keld::Delivery
{
/// Throws TreeError where the disk of a tree has no room for so many bytes.
void RequireDiskRoom(const std::string &root, uint64 needed);

/// Throws TreeError where a program would not see the whole release, whatever else lies in the tree.
void RequireServed(const std::string &root, const WantedSet &wanted, unsigned threadCount);

/// Lets nobody write the directories of all archives that a release is served from.
void ProtectArchives(const std::string &root, const WantedRelease &wanted);
} // namespace Keld::Delivery
