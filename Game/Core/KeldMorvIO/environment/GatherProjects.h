#pragma once

#include "KeldMorvIO/environment/ConfigurationManifest.h"
#include "KeldMorvIO/environment/SolutionManifest.h"

namespace Keld::MORV::Reader
{
// Turn names into the records that a solution has of them. `projects` comes in empty and ends sorted by name, without
// regard to case; a name that stands twice gives two records. A name that the solution does not know is a failure, and
// what was gathered before it stays in `projects`.

HRESULT GatherProjects(const std::vector<std::string> &names, const SolutionManifest &solution,
                       std::vector<SolutionManifest::PROJECT> &projects);

/// For a configuration of the solution, by its name.
HRESULT GatherProjects(const std::string &configuration, const SolutionManifest &solution,
                       std::vector<SolutionManifest::PROJECT> &projects);

/// For the configuration of this installation, which is what a start loads.
HRESULT GatherProjects(const ConfigurationManifest &configuration, const SolutionManifest &solution,
                       std::vector<SolutionManifest::PROJECT> &projects);
} // namespace Keld::MORV::Reader
