#pragma once

#include "Tools/TreeReader/TreePlaces.h"
#include "Tools/TreeWriter/PackRequest.h"
#include "Tools/TreeWriter/SourceTree.h"

namespace Keld::TreeWriter
{
/// One file of the release to be. `entry` is what the manifest will say; storing may still change its flags, where
/// compression does not pay and for empty files.
struct PlannedFile
{
    TreeReader::ReleaseFile entry;
    StorageChoice choice;
    bool kept = false; ///< nothing to store: the bytes lie where an earlier release put them
};

/// The choice for one file by the rules of a request.
StorageChoice ChooseStorage(const PackRequest &request, const std::string &path);

/// Reads every file once for its digest, compares with the base release, and refuses, by TreeError, what would end at a
/// path on disk that the reader cannot hold.
std::vector<PlannedFile> PlanRelease(const PackRequest &request, const TreeReader::TreePlaces &tree,
                                     const SourceTree &source);
} // namespace Keld::TreeWriter
