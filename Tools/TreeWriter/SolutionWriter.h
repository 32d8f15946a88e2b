#pragma once

#include "KeldFoundation/version/MorvVersion.h"

#include <string>
#include <vector>

namespace Keld::TreeWriter
{
struct SolutionProject
{
    std::string name;
    MorvVersion version = 0;
    uint32 priority = 0; ///< the higher, the earlier it is searched
    uint32 flags = 0;    ///< carried, not interpreted
};

struct SolutionConfiguration
{
    std::string name;
    std::vector<std::string> projects;
    uint32 flags = 0;
};

struct SolutionContents
{
    std::string name;
    MorvVersion release = 0;
    std::vector<SolutionProject> projects;
    std::vector<SolutionConfiguration> configurations;
};

/// The bytes of a "solutionmanifest". Throws TreeError for names that a line cannot hold, names twice (without regard
/// to case), and a configuration with a project that the solution does not list.
std::string BuildSolutionManifest(const SolutionContents &solution);

/// The bytes of a "configurationmanifest": the projects that are in use. Throws TreeError as above.
std::string BuildConfigurationManifest(const SolutionConfiguration &configuration);
} // namespace Keld::TreeWriter
