#pragma once

#include <filesystem>
#include <string>

namespace Keld::TreeWriter
{
/// Whether a name is that of one directory, and leads nowhere else.
bool IsDirectoryName(const std::string &name);

/// Refuses, by TreeError, a name of a project or solution that the reader would not find again. The reader cuts kind,
/// name and version out of a directory's path by looking for words in it, so a name must not end in one of them. Nor
/// must it begin with "solution:", the word before the name of a solution in whatever people type and lists tell.
/// \param what "project" or "solution", for the message.
void RequireUsableName(const std::string &what, const std::string &name);

/// The absolute path of a deployment tree's root, which need not exist yet. Refuses one that is not named "MORV", or
/// whose path the reader could not use: it looks for the last "MORV/" and lists archives by a wildcard pattern.
std::filesystem::path RequireUsableRoot(const std::filesystem::path &root);

/// Refuses a root under which no solution would start: a path with "projects/" in it is always taken for a project.
void RequireRootForSolutions(const std::filesystem::path &root);
} // namespace Keld::TreeWriter
