#pragma once

#include <string>
#include <vector>

namespace Keld::Morv
{
/// The words of a line as a POSIX shell splits and unquotes it: blanks, backslashes, single and double quotes. The last
/// word is the one being typed: its quote may be open, and behind a blank it is empty. Nothing is expanded.
std::vector<std::string> SplitShellWords(const std::string &line);
} // namespace Keld::Morv
