#pragma once

#include "Tools/morv/Manual/CommandFacts.h"

#include <string>

namespace Keld::Morv
{
/// The manual page of the tool, "morv.1", or of one command, "morv-COMMAND.1", in the man macros of roff.
std::string WriteToolPage(const ToolFacts &facts);
std::string WriteCommandPage(const ToolFacts &facts, const CommandFacts &command);
} // namespace Keld::Morv
