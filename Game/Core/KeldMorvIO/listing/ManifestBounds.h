#pragma once

#include "KeldMorvIO/listing/ReleaseManifestFormat.h"

namespace Keld::MORV::Reader
{
/// Whether a directory table can be walked as it stands: there is a root, every range of children lies inside its
/// table, no record is the child of two directories or twice of one, the root is nobody's child, and no directory is
/// its own ancestor. A range without children may begin anywhere. Records that no range holds are tolerated.
///
/// Time and memory are linear in the counts, which must be those of tables that exist.
bool DirectoriesFormTrees(const DirectoryTableEntry *directories, uint32 directoryCount, uint32 fileCount);
} // namespace Keld::MORV::Reader
