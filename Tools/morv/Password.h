#pragma once

#include <string>

namespace Keld::Morv
{
/// Reads a password: on a terminal it is asked for and not shown, else it is the next line of standard input. Throws
/// std::runtime_error where there is none, and Interrupted.
/// \param prompt for the person at the terminal
std::string AskPassword(const std::string &prompt);
} // namespace Keld::Morv
