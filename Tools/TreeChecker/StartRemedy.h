#pragma once

#include "Tools/TreeChecker/StartPath.h"

#include "Tools/TreeReader/Release.h"

namespace Keld::TreeChecker
{
/// Why the text manifests of a solution come to nothing.
StartCause ExplainSolution(const TreeReader::Fault &fault);

/// Why the manifest of a project release comes to nothing.
StartCause ExplainManifest(const TreeReader::Fault &fault);

/// Why a file that a release lists is left out.
/// \param project the directory under "projects" that the release was opened by.
StartCause ExplainMissingFile(const TreeReader::Release &release, const std::string &project,
                              TreeReader::EntryIndex file);
} // namespace Keld::TreeChecker
