#pragma once

#include "Tools/Delivery/Repair/RepairRequest.h"

namespace Keld::Delivery
{
/// Finds what is damaged or missing of releases, and gets that back from a source, where there is one.
///
/// What is right is told by the source's shiplist of a release, over every byte of every file. Where the source is a
/// directory without one, it is made from the release there, which must be whole. Where a server has none, what is
/// fetched is held against the digests of the manifest, and damage that no reader sees stays. Without a source the
/// tree's own shiplist tells, and what a check of the tree finds.
///
/// Of an archive of which only some ranges are damaged, these alone are fetched, into a copy that is proved as a whole.
/// Files are replaced one by one, each in one step, under the locks of all projects and solutions concerned. Throws
/// TreeError where the source holds another release of the same version, SourceError and std::system_error.
RepairReport Repair(const RepairRequest &request);
} // namespace Keld::Delivery
