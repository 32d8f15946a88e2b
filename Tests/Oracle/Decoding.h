#pragma once

#include <cstdint>
#include <optional>
#include <string>

namespace Keld::Test::Oracle
{
enum class Compression
{
    None,
    Zlib,
    Lzma
};

/// The content of a compressed file, or nothing where its stored form is refused. Both forms must use up all of the
/// range and fill all of the size.
/// \param data  the whole data file; the range may reach beyond it
std::optional<std::string> Decoded(Compression compression, const std::string &data, std::uint32_t offset,
                                   std::uint32_t storedSize, std::uint32_t size);
} // namespace Keld::Test::Oracle
