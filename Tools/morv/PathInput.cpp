#include "Tools/morv/PathInput.h"

#include <CLI/CLI.hpp>

#include <cerrno>
#include <cstring>
#include <stdexcept>

#include <unistd.h>

namespace Keld::Morv
{
namespace
{
constexpr std::size_t PieceSize = 1 << 16;

std::string ReadStandardInput()
{
    std::string text;
    for (;;)
    {
        const std::size_t size = text.size();
        text.resize(size + PieceSize);
        const ssize_t count = read(STDIN_FILENO, text.data() + size, PieceSize);
        text.resize(size + (count > 0 ? static_cast<std::size_t>(count) : 0));
        if (count == 0)
        {
            return text;
        }
        if (count < 0 && errno != EINTR)
        {
            throw std::runtime_error(std::string("cannot read standard input: ") + std::strerror(errno));
        }
    }
}

void AddLines(const std::string &text, char lineEnd, std::vector<std::string> &paths)
{
    for (std::size_t begin = 0; begin < text.size();)
    {
        const std::size_t end = std::min(text.find(lineEnd, begin), text.size());
        if (end > begin)
        {
            paths.push_back(text.substr(begin, end - begin));
        }
        begin = end + 1;
    }
}
} // namespace

std::vector<std::string> PathInput::ReadAll() const
{
    std::vector<std::string> paths;
    for (const std::string &operand : operands)
    {
        if (operand == "-")
        {
            AddLines(ReadStandardInput(), endsWithNul ? '\0' : '\n', paths);
        }
        else
        {
            paths.push_back(operand);
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
