#pragma once

#include "KeldFoundation/CStd/LargeVector.h"
#include "KeldMorvIO/listing/FileArchiveMetadata.h"
#include "KeldMorvIO/listing/ListingRecords.h"
#include "KeldMorvIO/listing/ManifestTables.h"

#include <vector>

namespace Keld::MORV::Reader
{
/// Finds every file of a manifest on disk, once, and logs and leaves out what cannot be found.
/// \param metadata out: the files found. Archived ones come first, with those that share a handle side by side, then
///                 managed ones, then naked ones, each group by file index. A file that no directory holds has a
///                 record of zeros, in front of the naked ones.
/// \param missing  out: indices of the files not found, ascending.
/// \param parents  out: the parent directory of every entry; directory i is entry i, file j is entry D + j.
/// \param header   out: how many files of each kind were found.
void LocateFiles(const ManifestTables &manifest, const char *root, const char *projectRoot,
                 LargeVector<FileArchiveMetadata> &metadata, std::vector<uint32> &missing, LargeVector<uint32> &parents,
                 FileHandleHeader &header);
} // namespace Keld::MORV::Reader
