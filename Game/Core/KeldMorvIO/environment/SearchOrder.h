#pragma once

#include "KeldMorvIO/environment/ConfigurationManifest.h"
#include "KeldMorvIO/environment/SolutionManifest.h"

#include <vector>

namespace Keld::MORV::Reader
{
/// Decides which projects of a solution make up its file system and in which order a lookup asks them: those that the
/// configuration names, the highest priority first, equal priorities by name without regard to case. A project by
/// itself has no order: it is all there is.
///
/// `projects` comes in empty. A name that the solution does not know is a failure, as in GatherProjects.
HRESULT GatherInSearchOrder(const ConfigurationManifest &configuration, const SolutionManifest &solution,
                            std::vector<SolutionManifest::PROJECT> &projects);
} // namespace Keld::MORV::Reader
