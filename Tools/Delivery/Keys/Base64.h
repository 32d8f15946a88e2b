#pragma once

#include <string>
#include <string_view>

namespace Keld::Delivery
{
std::string EncodeBase64(std::string_view bytes);

/// False for what EncodeBase64 would not have written.
bool DecodeBase64(std::string_view text, std::string &bytes);
} // namespace Keld::Delivery
