#pragma once

#include <filesystem>
#include <string>

namespace Keld::Test
{
/// Everything that a file holds; empty where it cannot be read. Read in large pieces: byte by byte, a file of some
/// megabytes takes seconds in a build with a sanitizer.
std::string BytesOf(const std::filesystem::path &file);
} // namespace Keld::Test
