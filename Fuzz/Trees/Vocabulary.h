#pragma once

#include "Trees/TreeInput.h"

#include <string>
#include <vector>

namespace Keld::Fuzz
{
/// Words that mean something in a tree: the names and paths that it uses, and those that have given trouble before.
std::vector<std::string> CollectWords(const TreeInput &input);
} // namespace Keld::Fuzz
