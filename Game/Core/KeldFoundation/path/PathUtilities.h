#pragma once

#include <string>
#include <vector>

// Operations on path texts beside those of Path.h. All are pure functions of their arguments. A null path counts as an
// empty one.
namespace Keld
{
/// Folds 'A' to 'Z' to lower case, then does as NormalizeSeparators.
void NormalizeSeparatorsLower(std::string &path);

/// Splits behind the last '/', '\' or ':'. `directory` keeps that character, and gets a '/' behind a ':'. What follows
/// is cut at its last '.', which belongs to neither part.
/// \param extension  keeps its old text when there is no '.': callers pass an empty string.
void SplitPath(const char *path, std::string &directory, std::string &name, std::string &extension);

/// Resolves the leading "./" and "../" of `path` against the directory `base`; later ones stay as they are. A path with
/// a ':' in its directory counts as absolute. A name without extension gets a trailing dot, and a name that is all
/// extension is lost.
void ResolveRelativePath(const char *path, const char *base, std::string &result);

/// The pieces between separators of either kind. False when there are none.
bool SplitPathComponents(const char *path, std::vector<std::string> &components);
} // namespace Keld
