#pragma once

#include <string>
#include <string_view>

// Bytes of paths as they stand in URLs.
namespace Keld::Delivery
{
/// Every byte but letters, digits, "-._~" and '/' as "%41".
std::string EncodeUrlPath(std::string_view path);

/// The way back. A '%' without two hexadecimal digits behind it stays.
std::string DecodeUrlText(std::string_view text);
} // namespace Keld::Delivery
