#pragma once

#include "Tools/TreeWriter/SourceTree.h"

#include <filesystem>
#include <functional>

namespace Keld::TreeWriter
{
/// Looks through a folder. Throws TreeError that names every entry a release cannot hold, with the reason: symbolic
/// links unless told otherwise, devices and other special files, names that differ in case alone or hold a backslash,
/// virtual paths over 1023 bytes, files over 4 GiB, and what cannot be read.
/// \param checkpoint called for each directory and each listed path; what it throws ends the scan
SourceTree ScanSource(
    const std::filesystem::path &source, const SourceOptions &options = {},
    const std::function<void()> &checkpoint = [] {});
} // namespace Keld::TreeWriter
