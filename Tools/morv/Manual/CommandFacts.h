#pragma once

#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace Keld::Morv
{
/// One option or operand of a command, as the parser of the command line knows it.
struct OptionFacts
{
    std::vector<std::string> names;   ///< with their dashes, short ones first; empty for an operand
    std::string value;                ///< the word that stands for its value, as "DIR"; empty for a flag
    std::vector<std::string> choices; ///< where only these values are good
    std::string description;
    bool required = false;
    bool repeats = false; ///< an operand that may stand several times
};

/// What a command tells the parser about itself. The manual pages and the completion are made of it, so that neither
/// can tell something else than the help.
struct CommandFacts
{
    std::string name; ///< empty for the tool itself
    std::string description;
    std::string footer;
    std::vector<OptionFacts> options;  ///< its own, then those that every command has
    std::vector<OptionFacts> operands; ///< in their order
};

struct ToolFacts
{
    CommandFacts tool; ///< with the options that stand before the name of a command
    std::vector<CommandFacts> commands;
};

/// Reads all but hidden commands and options.
ToolFacts ReadToolFacts(const CLI::App &app);
} // namespace Keld::Morv
