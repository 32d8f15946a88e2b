#pragma once

#include "Tools/Delivery/Fetch/SourceProof.h"
#include "Tools/Delivery/Fetch/WantedSet.h"

#include <string>
#include <vector>

// What a fetch asks of the tree around it, before files come and when they have.
namespace Keld::Delivery
{
/// Throws TreeError where the disk of a tree has no room for so many bytes.
void RequireDiskRoom(const std::string &root, uint64 needed);

/// Throws TreeError where a program would not see the whole release, whatever else lies in the tree.
void RequireServed(const std::string &root, const WantedSet &wanted, unsigned threadCount);

/// Whether a tree will have all files that a shiplist tells of, each with its size, when those of some paths have come.
bool HasAllListed(const std::string &root, const SourceProof &proof, const std::vector<std::string> &coming);

/// Lets nobody write the directories of all archives that a release is served from.
void ProtectArchives(const std::string &root, const WantedRelease &wanted);
} // namespace Keld::Delivery
