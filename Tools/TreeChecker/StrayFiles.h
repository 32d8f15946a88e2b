#pragma once

#include "Tools/TreeChecker/CheckReport.h"

#include <string>
#include <vector>

namespace Keld::TreeChecker
{
/// Tells what a tree holds and nothing refers to: single files, and directories in which nothing is referred to.
/// \param root     the directory named "MORV"
/// \param referred full paths of what is referred to
void FindStrayFiles(const std::string &root, std::vector<std::string> referred, CheckReport &report);
} // namespace Keld::TreeChecker
