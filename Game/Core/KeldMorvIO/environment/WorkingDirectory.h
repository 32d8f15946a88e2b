#pragma once

#include "KeldFoundation/version/MorvVersion.h"

#include <string>

// What a working directory says by its path alone: where the root of the tree is, and which release lies around it.
// Nothing on disk is looked at.
//
// The words of the tree are found as bare text, with their case: a directory called "myprojects" counts as "projects".
namespace Keld::MORV::Reader
{
enum RuntimeType : uint32
{
    RuntimeTypeProject = 0, ///< inside a project release: one listing, or none when it could not be made
    RuntimeTypeSolution = 1 ///< inside a solution release: one listing for each project of its configuration
};

/// The root of the tree that a directory lies in: everything up to the last "MORV/", without the separator, or the
/// whole path where there is none. A path that does not fit in a path buffer is cut first.
std::string GetMorvRootDirectory(const char *path);

/// Reads kind, name and version of the release out of a canonical path. On false, `type` and `name` may hold what was
/// read before the failure.
bool GetProjectTypeNameAndVersion(const char *path, RuntimeType &type, std::string &name, MorvVersion &version);
} // namespace Keld::MORV::Reader
