#pragma once

#include <filesystem>
#include <string>

namespace Keld::Morv
{
/// Refuses, by UsageError, to write a file in the place of a device, a pipe or whatever else is no file: it would be
/// gone.
/// \param advice behind the reason, as "; -o - ..."
void RequireReplaceable(const std::filesystem::path &path, const std::string &advice = "");
} // namespace Keld::Morv
