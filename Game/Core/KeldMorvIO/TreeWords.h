#pragma once

#include "KeldFoundation/CStd/BasicTypes.h"

// The words of a deployment tree: what its directories and its manifests are called, and how its text manifests begin.
// The tree is drawn in Docs/Formats/DeploymentTree.md. Only log texts and help texts spell these words out again. What
// archives are called on disk stands in archive/ArchiveFormat.h.
namespace Keld::MORV::Reader
{
// Directories.
inline constexpr const char *RootDirectory = "MORV";
inline constexpr const char *ProjectsDirectory = "projects";
inline constexpr const char *SolutionsDirectory = "solutions";
inline constexpr const char *ReleasesDirectory = "releases";
inline constexpr const char *DeployDirectory = "deploy";             // of a release
inline constexpr const char *ManagedFilesDirectory = "managedfiles"; // of a project
inline constexpr const char *FileArchivesDirectory = "filearchives"; // of a project

// Files of a release directory.
inline constexpr const char *ReleaseManifestName = "releasemanifest";
inline constexpr const char *SolutionManifestName = "solutionmanifest";
inline constexpr const char *ConfigurationManifestName = "configurationmanifest";

// The first line of each text manifest, compared without regard to case, and the version on the second.
inline constexpr const char *SolutionManifestMagic = "MORV Solution Manifest";
inline constexpr const char *ConfigurationManifestMagic = "MORV Configuration Manifest";
inline constexpr uint32 TextManifestVersion = 0x1000000; // "1.0.0.0"
} // namespace Keld::MORV::Reader
