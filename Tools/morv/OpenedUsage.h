#pragma once

#include "Tools/TreeReader/ContentUsage.h"
#include "Tools/TreeReader/TreeSet.h"
#include "Tools/morv/CommandSet.h"
#include "Tools/morv/Json.h"

#include <memory>
#include <string>

namespace Keld::Morv
{
/// A release that was opened to be measured, with its trees. What is missing in it has been told.
struct OpenedUsage
{
    TreeReader::TreeSet trees;
    std::unique_ptr<const TreeReader::View> view;
    std::unique_ptr<const TreeReader::ContentUsage> usage;
    std::string root;
    uint64 missing = 0; ///< files that the manifests list and the disk lacks
    bool isWhole = true;

    /// {"kind": ..., "name": ..., "version": ...}
    Json GetRelease() const;
};

/// Throws TreeError for a release that cannot be read or served.
std::unique_ptr<OpenedUsage> OpenUsage(const std::string &text, const std::string &typedRoot,
                                       const CommonOptions &common);
} // namespace Keld::Morv
