#pragma once

#include <string>
#include <string_view>

// Paths in text files of one line each: '%' and control characters stand as "%0A", with capital digits, all other bytes
// as themselves. Each path has one text.
namespace Keld::Delivery
{
std::string EscapePath(std::string_view path);

/// False for what EscapePath would not have written.
bool ReadEscapedPath(std::string_view text, std::string &path);
} // namespace Keld::Delivery
