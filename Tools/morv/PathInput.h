#pragma once

#include <string>
#include <vector>

namespace CLI
{
class App;
}

namespace Keld::Morv
{
/// Virtual paths as a command takes them: its operands, and on standard input in place of the operand "-".
struct PathInput
{
    std::vector<std::string> operands;
    bool endsWithNul = false; ///< paths on standard input end with a NUL instead of a line end

    /// All paths, in their order. Empty lines of standard input are passed over. Throws TreeError when
    /// standard input cannot be read.
    std::vector<std::string> ReadAll() const;
};

/// Adds the operands PATH... and -0 to a command. `input` must live until it has run.
void AddPathInput(CLI::App &command, PathInput &input);
} // namespace Keld::Morv
