#pragma once

#include "Tools/Delivery/Fetch/WantedRelease.h"

#include "KeldFoundation/CStd/LargeVector.h"

#include <memory>
#include <optional>
#include <string>
#include <vector>

namespace Keld::Delivery
{
/// A text manifest of a solution, as the source has it.
struct WantedText
{
    std::string path; ///< below the root
    LargeVector<char> bytes;
};

/// What somebody wants from a source, and what that brings with it: a project release, or a solution and the project
/// releases that its configuration uses.
struct WantedSet
{
    TreeReader::ReleaseName name;
    std::vector<WantedText> texts; ///< of a solution: the configuration manifest first
    std::vector<std::unique_ptr<WantedRelease>> releases;

    std::vector<std::string> GetProjects() const;
};

/// Reads all manifests that are needed to know what is wanted. Refuses, by SourceError, what the source does not have
/// or what does not fit together.
WantedSet ReadWantedSet(Source &source, const std::string &root, const TreeReader::ReleaseName &name);

/// What stands in a tree where a text manifest is to go.
ManifestState GetTextState(const std::string &root, const WantedText &text);
} // namespace Keld::Delivery
