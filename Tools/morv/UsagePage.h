#pragma once

#include "Tools/TreeReader/ContentUsage.h"

#include <string>

namespace Keld::Morv
{
/// A page for a browser that shows what takes how much room as a map of tiles, and needs nothing besides itself.
/// \param title the release
std::string MakeUsagePage(const TreeReader::ContentUsage &usage, const std::string &title);
} // namespace Keld::Morv
