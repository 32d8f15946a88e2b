#pragma once

#include "Tools/Common/GlobSelection.h"
#include "Tools/TreeReader/View.h"

#include <string>
#include <vector>

namespace Keld::Morv
{
/// A file that is to be written.
struct PlannedFile
{
    TreeReader::Hit hit;
    uint32 directory = 0; ///< of ExtractPlan::directories
    std::string name;     ///< in that directory
};

/// A file that is not written, and why.
struct ExtractFailure
{
    std::string path; ///< virtual; cut where it is longer than a program can ask for
    std::string kind; ///< a short word for programs: that of a fault, or of what is told in Docs/Schemas/extract.json
    std::string reason;
};

/// What goes where. Every path in it is made of plain names, no two of them equal but for case.
struct ExtractPlan
{
    std::vector<std::string> directories; ///< relative to the target, parents first; the first is the target itself
    std::vector<PlannedFile> files;
    std::vector<ExtractFailure> refused;
    uint64 bytes = 0;       ///< of all files, as the manifests say
    uint64 withoutName = 0; ///< files of which nothing is left behind the names that are stripped
};

/// Decides what is written of a file system: whatever a program would get by its path, under the spelling of the
/// project that comes first. Refused by name is what must not be written or cannot be: files that are missing on disk,
/// names that lead elsewhere, a path that one manifest lists twice, files below a path that is a file, and what would
/// fall into the tree that is read.
///
/// \param strip         so many names are taken from the beginning of each path
/// \param treeInTarget  the path of that tree below the target; empty where it lies elsewhere
ExtractPlan PlanExtraction(const TreeReader::View &view, const Common::GlobSelection &selection, uint32 strip,
                           const std::string &treeInTarget = {});
} // namespace Keld::Morv
