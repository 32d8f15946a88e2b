#pragma once

#include <map>
#include <string>

namespace Keld::Test
{
/// Every name below a directory, with kind, bytes and the time of its last change.
using TreeSnapshot = std::map<std::string, std::string>;

TreeSnapshot TakeSnapshot(const std::string &directory);
} // namespace Keld::Test
