#include "Tools/morv/PathInput.h"

#include "Tools/morv/PathList.h"

#include <CLI/CLI.hpp>

namespace Keld::Morv
{
std::vector<std::string> PathInput::ReadAll() const
{
    std::vector<std::string> paths;
    for (const std::string &operand : operands)
    {
        if (operand != "-")
        {
            paths.push_back(operand);
            continue;
        }
        PathList list(stdin, endsWithNul ? '\0' : '\n');
        while (std::optional<std::string> path = list.Next())
        {
            paths.push_back(std::move(*path));
        }
    }
    return paths;
}

void AddPathInput(CLI::App &command, PathInput &input)
{
    command
        .add_option("PATH", input.operands, "Virtual paths; / is the root, and - stands for paths on standard input")
        ->required();
    command.add_flag("-0,--null", input.endsWithNul, "Paths on standard input end with a NUL instead of a line end");
}
} // namespace Keld::Morv
