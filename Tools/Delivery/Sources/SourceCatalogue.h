#pragma once

#include "Tools/Delivery/Sources/Source.h"
#include "Tools/TreeReader/TreeSet.h"

#include <optional>
#include <string>
#include <vector>

namespace Keld::Delivery
{
/// Below the root: where the releases of a project or a solution stand.
std::string PathOfReleases(const TreeReader::ReleaseName &name);

/// The releases that a source has of a project or a solution, ascending, or nothing where it does not tell.
std::optional<std::vector<MorvVersion>> ListReleases(Source &source, const TreeReader::ReleaseName &name);

/// One sentence about releases that a source has of projects and solutions which are here, and which are not here
/// themselves; empty where there are none, or where the source does not tell.
std::string TellOfOthers(Source &source, const std::vector<TreeReader::ReleaseName> &here);
} // namespace Keld::Delivery
