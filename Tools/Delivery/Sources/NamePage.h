#pragma once

#include <string>
#include <string_view>
#include <vector>

namespace Keld::Delivery
{
/// The names in a directory, by the page that a web server shows of it: what its links lead to, where that is one name.
/// Each comes once, in ascending order of their bytes, that of a directory without the '/' behind it.
std::vector<std::string> ReadNamePage(std::string_view page);
} // namespace Keld::Delivery
