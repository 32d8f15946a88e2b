#pragma once

#include "Tools/TreeReader/DataFiles.h"
#include "Tools/TreeReader/Tree.h"
#include "Tools/TreeReader/View.h"

#include <string>
#include <vector>

namespace Keld::TreeReader
{
/// What one release takes of a tree.
struct ReleaseUsage
{
    ReleaseName name;
    uint64 files = 0;          ///< on disk
    uint64 usedBytes = 0;      ///< of all files on disk that it is served from
    uint64 exclusiveBytes = 0; ///< of those that no other release is served from
};

/// Who uses what of a tree: the releases of all projects, and the data files that none of them refers to.
struct TreeUsage
{
    std::vector<ReleaseUsage> releases;
    std::vector<DataFile> dangling;
    std::vector<Fault> faults; ///< releases that cannot be read; what they need may be among the dangling
    uint64 totalBytes = 0;     ///< of all data files and manifests of the projects
};

/// Reads every manifest of the tree, the archives' indexes, and the names on disk. No content.
Result<TreeUsage> MeasureTree(Tree &tree, unsigned threadCount);
} // namespace Keld::TreeReader
