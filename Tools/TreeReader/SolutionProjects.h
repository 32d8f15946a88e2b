#pragma once

#include "Tools/TreeReader/Fault.h"

#include "KeldMorvIO/environment/SolutionManifest.h"

#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// What the two text manifests of a solution release come to.
struct SolutionProjects
{
    std::string configuration;                                     ///< name of the one in use
    std::vector<MORV::Reader::SolutionManifest::PROJECT> projects; ///< in the order of the search
};

/// Reads them by the library's own rules. What the library would log first is behind the words "cannot be used: ".
/// \param directory of the solution release.
Result<SolutionProjects> ReadSolutionProjects(const std::string &directory);
} // namespace Keld::TreeReader
