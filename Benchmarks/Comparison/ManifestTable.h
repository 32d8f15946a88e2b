#pragma once

#include "Benchmarks/Comparison/FlatMap.h"

#include <string>

namespace Keld::Benchmarks
{
/// What a start costs at least: the manifest read, and every full path in a plain hash table.
FlatMap BuildTable(const std::string &manifest);

/// The same for naked files without a table: one `stat` each. Gives the number of those that are there.
std::size_t StatEach(const std::string &manifest, const std::string &directory);
} // namespace Keld::Benchmarks
