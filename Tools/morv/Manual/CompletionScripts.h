#pragma once

#include <string>

namespace Keld::Morv
{
/// What a shell reads to complete the command line of the tool: "bash", "zsh" or "fish". The scripts hold no knowledge
/// of their own; they ask the tool, by its hidden command "complete".
std::string GetCompletionScript(const std::string &shell);
} // namespace Keld::Morv
