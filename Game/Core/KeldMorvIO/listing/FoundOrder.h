#pragma once

#include "KeldFoundation/CStd/LargeVector.h"
#include "KeldMorvIO/listing/FileArchiveMetadata.h"

#include <vector>

namespace Keld::MORV::Reader
{
/// Drops the records of missing files and puts the others into the order of a listing's open states: archived before
/// managed before naked. Archived files that share a handle stand side by side, since a listing closes the handle of
/// each run of neighbours once. Within a group they stand by file index.
/// \param metadata record i is that of file i, or of zeros where no directory holds that file: such records come in
///                 front of the naked ones.
/// \param missing  file indices in any order, each once; ascending afterwards.
void OrderFound(LargeVector<FileArchiveMetadata> &metadata, std::vector<uint32> &missing);
} // namespace Keld::MORV::Reader
