#pragma once

#include "KeldMorvIO/listing/ManifestTables.h"

// What is checked of a manifest whose tables have been found, once. Afterwards the indices in all its records may be
// trusted, also in those that no directory holds.
namespace Keld::MORV::Reader
{
/// Whether every name index has a string that ends inside the string data. No more than that is copied out of the
/// image, so a string that ends behind it does not count.
bool NamesEndInside(const ManifestTables &manifest);

/// Whether a directory table can be walked as it stands: there is a root, every range of children lies inside its
/// table, no record is the child of two directories or twice of one, the root is nobody's child, and no directory is
/// its own ancestor. A range without children may begin anywhere. Records that no range holds are tolerated.
///
/// Time and memory are linear in the counts, which must be those of tables that exist.
bool DirectoriesFormTrees(const DirectoryTableEntry *directories, uint32 directoryCount, uint32 fileCount);
} // namespace Keld::MORV::Reader
