#pragma once

#include "Tools/TreeReader/ReleaseContents.h"
#include "Tools/TreeReader/TreePlaces.h"

#include <functional>
#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// One project release that a working directory brings into the file system.
struct DeployedRelease
{
    std::string project; ///< the directory under "projects"
    MorvVersion version = 0;
    uint32 priority = 0; ///< of the solution's record; 0 for a project by itself
    ReleaseContents contents;
};

/// What a working directory resolves to.
struct Deployment
{
    std::filesystem::path root;
    bool isSolution = false;
    std::string name;
    MorvVersion version = 0;
    std::string configuration;             ///< name of the configuration in use, for a solution
    std::vector<DeployedRelease> releases; ///< in the order in which they are searched
};

/// Resolves a working directory by the reader's own rules, reading manifests alone. Throws TreeError that says what to
/// do when it lies in no release, or when a manifest is missing or damaged.
Deployment ResolveDeployment(const std::string &workingDirectory);

/// A file that a deployment's manifests list.
struct DeployedFile
{
    const DeployedRelease *release = nullptr; ///< null when no manifest lists the path
    const ReleaseFile *file = nullptr;        ///< null for a directory
};

/// Tells whether a file that a release lists is really there.
using PresenceTest = std::function<bool(const DeployedRelease &, const ReleaseFile &)>;

/// The first release that lists a path, as a file that passes the test or as a directory, without regard to case. The
/// empty path is the root. The reader drops files that are not there, so that they hide nothing of later releases.
DeployedFile FindInDeployment(const Deployment &deployment, const std::string &path, const PresenceTest &isPresent);
} // namespace Keld::TreeReader
