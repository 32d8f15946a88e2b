#pragma once

#include <filesystem>
#include <string_view>

namespace Keld::TreeWriter
{
/// Writes a whole file, making the directories above it. Throws std::system_error with the path when it cannot.
void WriteFile(const std::filesystem::path &path, std::string_view bytes);
} // namespace Keld::TreeWriter
